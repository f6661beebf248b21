// Who holds a UDP port: replies to a socket dump in the kernel's layout read for 127.0.0.1:7000 (and
// for 0.0.0.0, which stands for loopback), replies that are no such thing, and this host's own.
#include "net/zrudpportholders.h"

#include <gtest/gtest.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <unistd.h>

#include <array>
#include <utility>
#include <vector>

#include "framework/platform/sandbox.h"
#include "net/zrsocket.h"

namespace {

// One message of dump 1, `length` bytes of it: a socket (72 bytes) of `family` bound to the address
// words `src` and `port`, owned by `uid`; the family byte is also where the dump's end keeps its error.
std::string Entry(uint8_t family, std::array<uint32_t, 4> src, uint32_t uid, uint16_t port = 7000,
                  uint16_t type = SOCK_DIAG_BY_FAMILY, uint32_t length = sizeof(nlmsghdr) + 72) {
    const std::pair<nlmsghdr, inet_diag_msg> m{
        {length, type, 0, 1, 0},
        {family, 0, 0, 0, {htons(port), 0, {src[0], src[1], src[2], src[3]}, {}, 0, {}}, 0, 0, 0, uid, 0}};
    return std::string(reinterpret_cast<const char*>(&m), NLMSG_ALIGN(length));
}

TEST(UdpPortHolders, EverySocketThatWouldReceiveIsFoundAndNoReplyFailsWhole) {
    const uint32_t lo = htonl(0x7F000001), lo2 = htonl(0x7F000002), mapped = htonl(0xFFFF);
    const std::string done = Entry(0, {}, 0, 0, NLMSG_DONE, 20), good = Entry(AF_INET, {lo}, 1);
    const std::string reply =
        good + Entry(AF_INET, {0}, 2) + Entry(AF_INET, {lo2}, 3) + Entry(AF_INET, {lo}, 4, 7001) +
        Entry(AF_INET6, {}, 6) + Entry(AF_INET6, {0, 0, mapped, lo}, 7) +
        Entry(AF_INET6, {0, 0, 0, htonl(1)}, 8) + Entry(AF_INET6, {0, 0, mapped, lo2}, 9) + done;
    for (const std::string& bytes :
         {reply, good.substr(0, 10), good.substr(0, good.size() - 4), good + done + good,
          std::string(good).replace(8, 1, 1, 2), std::string(good).replace(6, 1, 1, NLM_F_DUMP_INTR),
          Entry(AF_INET, {lo}, 0, 7000, NLMSG_ERROR), std::string(good).replace(0, 1, 1, 8),
          Entry(AF_INET, {lo}, 0, 7000, 20, 20), Entry(AF_UNIX, {lo}, 0),
          Entry(EINTR, {}, 0, 0, NLMSG_DONE, 20)})
        for (ZrInetAddr server : {ZrInetAddr(127, 0, 0, 1), ZrInetAddr(0, 0, 0, 0)}) {
            ZrUdpPortHolders h;
            const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
            bool ended = false, read = server.Port(7000) && h.ReadReply(data, bytes.size(), 1, server, ended);
            EXPECT_TRUE(read == (bytes == reply) && ended == read && (h.LastError().Length() != 0) != read &&
                        (!read || h.Owners() == std::vector<uint32_t>{1, 2, 6, 7}))
                << bytes.size();
        }
}

// The kernel's own answer shows our socket, through one netlink socket again and again, and inside
// the agent's sandbox through that socket and a new one.
TEST(UdpPortHolders, ThisHostsDumpShowsOurSocket) {
    ZrInetAddr bound;
    ZrSocket socket;
    ZrUdpPortHolders kept, fresh;
    auto Reads = [&](ZrUdpPortHolders& h) { return h.Read(bound) && h.Owners() == std::vector{geteuid()}; };
    ASSERT_TRUE(socket.Bind(ZrInetAddr::AddressLoopback(), ZrSocket::datagram, false, 0, false) &&
                socket.LocalAddress(bound) && Reads(kept) && Reads(kept) &&
                ZrUdpPortHolders::IsLocalAddress(bound) &&
                !ZrUdpPortHolders::IsLocalAddress(ZrInetAddr(192, 0, 2, 1)));
    EXPECT_EXIT(_exit(platform::Confine("/nonexistent/link").filter && Reads(kept) && Reads(fresh) ? 0 : 1),
                ::testing::ExitedWithCode(0), "");
}

} // namespace
