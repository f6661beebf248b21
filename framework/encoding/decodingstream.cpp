#include "framework/encoding/decodingstream.h"

#include "framework/stream/streamexception.h"

#include <type_traits>

namespace encoding {

namespace {

template <class T> void GetLE(IDecodingStream& stream, T& value) {
    unsigned char bytes[sizeof(T)];
    stream.Read(buffer::Buffer(bytes, sizeof bytes));
    uint64_t bits = 0;
    for (size_t i = sizeof(T); i-- > 0;)
        bits = (bits << 8) | bytes[i];
    value = static_cast<T>(static_cast<std::make_unsigned_t<T>>(bits));
}

} // namespace

uint64_t DecodingStream::Read(buffer::VarBuffer& buffer) {
    return m_pInput->Read(buffer);
}

void DecodingStream::Read(const buffer::Buffer& buffer) {
    if (buffer.Length() == 0)
        return;
    buffer::VarBuffer target(buffer.Data(), buffer.Length());
    // No retry: one read must deliver every byte.
    m_pInput->Read(target);
    if (target.Fill() != buffer.Length())
        throw stream::IncompleteReadException();
}

void IntegerDecodingStream::Read(signed char& value) {
    GetLE(*this, value);
}
void IntegerDecodingStream::Read(unsigned char& value) {
    GetLE(*this, value);
}

void LEDecodingStream::Read(short& value) {
    GetLE(*this, value);
}
void LEDecodingStream::Read(int& value) {
    GetLE(*this, value);
}
void LEDecodingStream::Read(long& value) {
    GetLE(*this, value);
}
void LEDecodingStream::Read(unsigned short& value) {
    GetLE(*this, value);
}
void LEDecodingStream::Read(unsigned int& value) {
    GetLE(*this, value);
}
void LEDecodingStream::Read(unsigned long& value) {
    GetLE(*this, value);
}

} // namespace encoding
