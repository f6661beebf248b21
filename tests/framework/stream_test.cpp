#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"
#include "framework/network/socketstream.h"
#include "framework/stream/bufferstream.h"
#include "framework/stream/iostream.h"
#include "framework/stream/streamexception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// `value` must encode to exactly `wire`, and `wire` must decode to `value`, using it up.
template <class T> void ExpectWire(T value, const Bytes& wire) {
    SCOPED_TRACE(::testing::PrintToString(wire));
    Bytes out(16, 0xEE);
    encoding::LEEncodingBufferStream encoder{buffer::Buffer(out.data(), out.size())};
    encoder.Write(value);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(encoder.Position())), wire);
    encoding::LEDecodingBufferStream decoder{buffer::Buffer(wire.data(), wire.size())};
    T back{};
    decoder.Read(back);
    EXPECT_EQ(back, value);
    EXPECT_EQ(decoder.Remaining(), 0u);
    EXPECT_THROW(decoder.Read(back), stream::EOSException) << "exactly at the end";
}

TEST(LEEncodingTest, EveryWidthLeastSignificantByteFirst) {
    ExpectWire<unsigned char>(0xAB, {0xAB});
    ExpectWire<signed char>(-2, {0xFE});
    ExpectWire<unsigned short>(0x1234, {0x34, 0x12});
    ExpectWire<short>(-2, {0xFE, 0xFF});
    ExpectWire<unsigned int>(0x12345678u, {0x78, 0x56, 0x34, 0x12});
    ExpectWire<int>(-16909061, {0xFB, 0xFC, 0xFD, 0xFE});
    ExpectWire<unsigned long>(0x0102030405060708ul, {8, 7, 6, 5, 4, 3, 2, 1});
    ExpectWire<long>(-1, Bytes(8, 0xFF));
    Bytes out(4, 0xEE);
    encoding::LEEncodingBufferStream stream{buffer::Buffer(out.data(), out.size())};
    stream.Write(buffer::Buffer("\x01\x00\x02", 3));
    EXPECT_EQ(out, Bytes({1, 0, 2, 0xEE})) << "raw bytes as they are";
}

TEST(LEDecodingTest, ShortReadThrowsIncompleteAndAnEmptyReadNothing) {
    const Bytes three = {1, 2, 3};
    encoding::LEDecodingBufferStream stream{buffer::Buffer(three.data(), three.size())};
    unsigned int value = 0;
    EXPECT_THROW(stream.Read(value), stream::IncompleteReadException);
    char bytes[4];
    encoding::LEDecodingBufferStream again{buffer::Buffer(three.data(), three.size())};
    EXPECT_THROW(again.Read(buffer::Buffer(bytes, 4)), stream::IncompleteReadException);
    // An empty read asks nothing of the stream, even at its end.
    again.Read(buffer::Buffer(bytes, 0));
}

TEST(LEEncodingTest, FullBufferThrowsEndOfStreamAndAPartialWriteIncompleteWrite) {
    Bytes out(3);
    encoding::LEEncodingBufferStream stream{buffer::Buffer(out.data(), out.size())};
    EXPECT_THROW(stream.Write(0x01020304u), stream::IncompleteWriteException);
    EXPECT_EQ(out, Bytes({4, 3, 2}));
    EXPECT_THROW(stream.Write(static_cast<unsigned char>(9)), stream::EOSException);
    EXPECT_EQ(stream.Write(buffer::Buffer(out.data(), 0)), 0u);
}

TEST(BufferStreamTest, OutputStreamReportsThePartialCountAndThenEndOfStream) {
    Bytes out(4);
    stream::BufferOutputStream output{buffer::VarBuffer(out.data(), out.size())};
    EXPECT_EQ(output.Write(buffer::Buffer("abc", 3)), 3u);
    EXPECT_EQ(output.Write(buffer::Buffer("de", 2)), 1u);
    EXPECT_THROW(output.Write(buffer::Buffer("f", 1)), stream::EOSException);
    EXPECT_EQ(std::string(out.begin(), out.end()), "abcd");
}

TEST(BufferStreamTest, InputStreamCopiesWhatFitsAndThrowsAtTheEnd) {
    stream::BufferInputStream input{buffer::Buffer("hello", 5)};
    char bytes[3];
    buffer::VarBuffer target(bytes, 3);
    EXPECT_EQ(input.Read(target), 3u);
    buffer::VarBuffer rest(bytes, 3);
    EXPECT_EQ(input.Read(rest), 2u);
    EXPECT_EQ(std::string(bytes, 2), "lo");
    buffer::VarBuffer more(bytes, 3);
    EXPECT_THROW(input.Read(more), stream::EOSException);
}

TEST(BufferTest, OutOfRangeAccessThrowsWithCodeMinusFour) {
    uint8_t bytes[2] = {7, 8};
    buffer::Buffer view(bytes, 2);
    EXPECT_EQ(view.At(1), 8);
    try {
        view.At(2);
        FAIL() << "no exception";
    } catch (const buffer::BufferException& e) {
        EXPECT_EQ(e.Code(), -4);
    }
    buffer::VarBuffer var(bytes, 2);
    var.Advance(2);
    EXPECT_THROW(var.Advance(1), buffer::IndexOutOfBoundsException);
    EXPECT_THROW(buffer::VarBuffer(bytes, 2, 3), buffer::IndexOutOfBoundsException);
    EXPECT_EQ(memory::OutOfMemoryException().Code(), -3);
}

TEST(IOStreamTest, ForwardsToTheAttachedStreams) {
    stream::BufferInputStream input{buffer::Buffer("in", 2)};
    char out[4] = {};
    stream::BufferOutputStream output{buffer::Buffer(out, 4)};
    stream::IOStream io;
    io.Attach(static_cast<stream::IInputStream&>(input));
    io.Attach(static_cast<stream::IOutputStream&>(output));
    char bytes[2];
    buffer::VarBuffer target(bytes, 2);
    EXPECT_EQ(io.Read(target), 2u);
    EXPECT_EQ(io.Write(buffer::Buffer("ok", 2)), 2u);
    EXPECT_EQ(std::string(out, 2), "ok");
}

class SocketStreamTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0); }
    void TearDown() override {
        close(fds[0]);
        if (fds[1] >= 0)
            close(fds[1]);
    }
    int fds[2];
};

TEST_F(SocketStreamTest, ReadsWritesAndExposesReadAndWriteWaitObjects) {
    network::SocketBase socket(fds[0]);
    EXPECT_EQ(socket.GetType(), SOCK_STREAM);
    network::SocketStream stream(socket);
    EXPECT_EQ(stream.WaitableInput().Waitable().GetWaitObject()->kind, KIV_WAIT_FD_READ);
    EXPECT_EQ(stream.WaitableOutput().Waitable().GetWaitObject()->kind, KIV_WAIT_FD_WRITE);
    EXPECT_EQ(static_cast<KivPosixFdWait*>(stream.WaitableInput().Waitable().GetWaitObject())->fd, fds[0]);

    EXPECT_EQ(stream.Write(buffer::Buffer("ping", 4)), 4u);
    char peer[4];
    ASSERT_EQ(read(fds[1], peer, 4), 4);
    ASSERT_EQ(write(fds[1], "pong", 4), 4);
    char bytes[8];
    buffer::VarBuffer target(bytes, 8, 2);
    EXPECT_EQ(stream.Read(target), 6u);
    EXPECT_EQ(std::string(bytes + 2, 4), "pong");
}

TEST_F(SocketStreamTest, NonBlockingReadWithoutDataWouldBlock) {
    network::SocketBase socket(fds[0]);
    socket.SetBlocking(false);
    EXPECT_TRUE(fcntl(fds[0], F_GETFL) & O_NONBLOCK);
    network::SocketInputStream input(socket);
    char bytes[4];
    buffer::VarBuffer target(bytes, 4);
    EXPECT_THROW(input.Read(target), stream::WouldBlockException);
    socket.SetBlocking(true);
    EXPECT_FALSE(fcntl(fds[0], F_GETFL) & O_NONBLOCK);
}

TEST_F(SocketStreamTest, ClosedPeerGivesEndOfStreamBothWays) {
    network::SocketBase socket(fds[0]);
    close(fds[1]);
    fds[1] = -1;
    char bytes[4];
    buffer::VarBuffer target(bytes, 4);
    EXPECT_THROW(network::SocketInputStream(socket).Read(target), stream::EOSException);
    EXPECT_THROW(network::SocketOutputStream(socket).Write(buffer::Buffer("x", 1)), stream::EOSException);
}

TEST_F(SocketStreamTest, RuntimeFailureCarriesItsStatus) {
    EXPECT_THROW(network::SocketBase{-1}, network::Exception);
    network::SocketBase socket(fds[0]);
    // A descriptor that is not open makes the runtime read fail outright.
    socket.Internal().fd = 1023;
    char bytes[4];
    buffer::VarBuffer target(bytes, 4);
    try {
        network::SocketInputStream(socket).Read(target);
        FAIL() << "no exception";
    } catch (const network::Exception& e) {
        EXPECT_EQ(e.Code(), KIV_FAILED);
        EXPECT_EQ(socket.GetError(), EBADF);
    }
}

} // namespace
