#include "framework/encoding/encodingstream.h"

#include "framework/stream/streamexception.h"

#include <type_traits>

static_assert(sizeof(short) == 2 && sizeof(int) == 4 && sizeof(long) == 8, "wire widths");

namespace encoding {

namespace {

template <class T> void PutLE(IEncodingStream& stream, T value) {
    uint64_t bits = static_cast<std::make_unsigned_t<T>>(value);
    unsigned char bytes[sizeof(T)];
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(bits & 0xFF);
        bits >>= 8;
    }
    stream.Write(buffer::Buffer(bytes, sizeof bytes));
}

} // namespace

uint64_t EncodingStream::Write(const buffer::Buffer& buffer) {
    // An empty write takes nothing and must not trip the end-of-buffer check.
    if (buffer.Length() == 0)
        return 0;
    const uint64_t taken = m_pOutput->Write(buffer);
    if (taken < buffer.Length())
        throw stream::IncompleteWriteException();
    return taken;
}

void IntegerEncodingStream::Write(signed char value) {
    PutLE(*this, value);
}
void IntegerEncodingStream::Write(unsigned char value) {
    PutLE(*this, value);
}

void LEEncodingStream::Write(short value) {
    PutLE(*this, value);
}
void LEEncodingStream::Write(int value) {
    PutLE(*this, value);
}
void LEEncodingStream::Write(long value) {
    PutLE(*this, value);
}
void LEEncodingStream::Write(unsigned short value) {
    PutLE(*this, value);
}
void LEEncodingStream::Write(unsigned int value) {
    PutLE(*this, value);
}
void LEEncodingStream::Write(unsigned long value) {
    PutLE(*this, value);
}

} // namespace encoding
