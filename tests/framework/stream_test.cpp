#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"
#include "framework/stream/bufferstream.h"
#include "framework/stream/streamexception.h"

#include <gtest/gtest.h>

#include <cstdint>
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

// Reading or writing past the end: a short read or write throws "incomplete", nothing left at all
// throws end-of-stream, and an empty transfer asks nothing of the stream.
TEST(LEStreamTest, ShortTransfersThrowIncompleteAndNothingLeftEndOfStream) {
    const Bytes three = {1, 2, 3};
    encoding::LEDecodingBufferStream decoder{buffer::Buffer(three.data(), three.size())};
    unsigned int value = 0;
    EXPECT_THROW(decoder.Read(value), stream::IncompleteReadException);
    char bytes[4];
    encoding::LEDecodingBufferStream again{buffer::Buffer(three.data(), three.size())};
    EXPECT_THROW(again.Read(buffer::Buffer(bytes, 4)), stream::IncompleteReadException);
    again.Read(buffer::Buffer(bytes, 0));

    Bytes out(3);
    encoding::LEEncodingBufferStream encoder{buffer::Buffer(out.data(), out.size())};
    EXPECT_THROW(encoder.Write(0x01020304u), stream::IncompleteWriteException);
    EXPECT_EQ(out, Bytes({4, 3, 2}));
    EXPECT_THROW(encoder.Write(static_cast<unsigned char>(9)), stream::EOSException);
    EXPECT_EQ(encoder.Write(buffer::Buffer(out.data(), 0)), 0u);
}

// The buffer streams' partial counts and end-of-stream are seen through the encoders above; a buffer
// refuses out-of-range access.
TEST(BufferTest, OutOfRangeAccessThrows) {
    Bytes out(2);
    EXPECT_THROW(buffer::Buffer(out.data(), 2).At(2), buffer::IndexOutOfBoundsException);
    buffer::VarBuffer var(out.data(), 2);
    var.Advance(2);
    EXPECT_THROW(var.Advance(1), buffer::IndexOutOfBoundsException);
    EXPECT_THROW(buffer::VarBuffer(out.data(), 2, 3), buffer::IndexOutOfBoundsException);
}

} // namespace
