// ZrSocket over real loopback sockets, as the control client uses it: results of message reads and
// writes, binding with retries, and the failure traces of the calls it makes.
#include "net/zrsocket.h"

#include <gtest/gtest.h>

#include <string>

namespace {

ZrInetAddr Loopback(unsigned port = 0) {
    ZrInetAddr address = ZrInetAddr::AddressLoopback();
    address.Port(port);
    return address;
}

// A bound datagram socket and its address.
struct Bound {
    Bound() {
        EXPECT_TRUE(socket.Bind(Loopback(), ZrSocket::datagram, false, 0, false));
        EXPECT_TRUE(socket.LocalAddress(address));
    }
    ZrSocket socket;
    ZrInetAddr address;
};

TEST(Socket, MessagesReportCompleteAndEndOfFile) {
    Bound a, b;
    long written = -1;
    EXPECT_EQ(a.socket.WriteMessage("hello", 5, written, b.address), ZrSocket::messageComplete);
    EXPECT_EQ(written, 5);
    char area[16];
    long got = 0;
    ZrInetAddr from;
    EXPECT_EQ(b.socket.ReadMessage(area, sizeof area, got, from), ZrSocket::messageComplete);
    EXPECT_EQ(std::string(area, got), "hello");
    EXPECT_EQ(from, a.address);

    EXPECT_EQ(a.socket.WriteMessage("", 0, written, b.address), ZrSocket::messageComplete);
    EXPECT_EQ(b.socket.ReadMessage(area, sizeof area, got, from), ZrSocket::messageEndOfFile);
    EXPECT_EQ(got, 0);
}

TEST(Socket, FailuresReadLikeTheFailedCall) {
    struct Row {
        bool (*call)(ZrSocket&);
        const char* reason;
    } rows[] = {
        {[](ZrSocket& s) {
             long written = 0;
             return s.WriteMessage("x", 1, written, Loopback(9)) != ZrSocket::messageFailed;
         },
         "sendto(-1,1,0,127.0.0.1:9,16): (9) Bad file descriptor"},
        {[](ZrSocket& s) { return s.SetTransmitBufferSize(5); },
         "setsockopt(-1,SOL_SOCKET(1),SO_SNDBUF(7),(char*)(int 5),4): (9) Bad file descriptor"},
        {[](ZrSocket& s) { return s.SetReceiveBufferSize(6); },
         "setsockopt(-1,SOL_SOCKET(1),SO_RCVBUF(8),(char*)(int 6),4): (9) Bad file descriptor"},
    };
    for (const Row& row : rows) {
        ZrSocket socket;
        EXPECT_FALSE(row.call(socket)) << row.reason;
        EXPECT_EQ(socket.LastError().Reason().AsUtf8(), row.reason);
    }
}

TEST(Socket, AddressInUseIsRetriedOnlyWhenAsked) {
    Bound holder;
    ZrSocket second;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(second.Bind(holder.address, ZrSocket::datagram, false, 0, false));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "no retries: at once and quietly";
    EXPECT_EQ(second.LastErrno(), EADDRINUSE);
    EXPECT_EQ(second.LastError().Call().AsUtf8(), "bind");

    testing::internal::CaptureStderr();
    EXPECT_FALSE(second.Bind(holder.address, ZrSocket::datagram, false, 1, true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "A socket is still in use, attempting 1 retries....\n");
}

} // namespace
