#include "dmp/messages/t50string.h"

#include "framework/exception/exception.h"
#include "framework/stream/streamexception.h"

#include <cstring>
#include <new>

namespace wex::common::dmp {

namespace {

// The same verdict the read itself would give, but before a hostile length makes us allocate.
void CheckAvailable(const encoding::LEDecodingBufferStream& stream, uint64_t length) {
    if (length <= stream.Remaining())
        return;
    if (stream.Remaining() == 0)
        throw stream::EOSException();
    throw stream::IncompleteReadException();
}

} // namespace

bool T50Text::operator==(const T50Text& other) const {
    if (length != other.length || !data != !other.data)
        return false;
    return !data || std::memcmp(data.get(), other.data.get(), length) == 0;
}

template <class Length>
void ParseLengthAndT50String(encoding::LEDecodingBufferStream& stream, Length& length,
                             std::unique_ptr<char[]>& text, bool terminate) {
    stream.Read(length);
    text.reset();
    if (length == 0)
        return;
    CheckAvailable(stream, length);
    const uint64_t size = static_cast<uint64_t>(length) + (terminate ? 1 : 0);
    std::unique_ptr<char[]> bytes(new (std::nothrow) char[size]());
    if (!bytes)
        throw memory::OutOfMemoryException();
    stream.Read(buffer::Buffer(bytes.get(), length));
    text = std::move(bytes);
}

template void ParseLengthAndT50String<unsigned short>(encoding::LEDecodingBufferStream&, unsigned short&,
                                                      std::unique_ptr<char[]>&, bool);
template void ParseLengthAndT50String<unsigned int>(encoding::LEDecodingBufferStream&, unsigned int&,
                                                    std::unique_ptr<char[]>&, bool);

void ReadT50Text16(encoding::LEDecodingBufferStream& stream, T50Text& text, bool terminate) {
    unsigned short length = 0;
    ParseLengthAndT50String(stream, length, text.data, terminate);
    text.length = length;
}

void ReadT50Text32(encoding::LEDecodingBufferStream& stream, T50Text& text, bool terminate) {
    unsigned int length = 0;
    ParseLengthAndT50String(stream, length, text.data, terminate);
    text.length = length;
}

void WriteT50Text16(encoding::LEEncodingBufferStream& stream, const T50Text& text) {
    stream.Write(static_cast<unsigned short>(text.length));
    stream.Write(buffer::Buffer(text.data.get(), text.data ? static_cast<unsigned short>(text.length) : 0));
}

void WriteT50Text32(encoding::LEEncodingBufferStream& stream, const T50Text& text) {
    stream.Write(static_cast<unsigned int>(text.length));
    stream.Write(buffer::Buffer(text.data.get(), text.data ? text.length : 0));
}

void WriteT50String16(encoding::LEEncodingBufferStream& stream, const std::string& text) {
    stream.Write(static_cast<unsigned short>(text.size()));
    stream.Write(buffer::Buffer(text.data(), static_cast<unsigned short>(text.size())));
}

T50Text MakeT50Text(const std::string& bytes) {
    T50Text text;
    text.length = static_cast<uint32_t>(bytes.size());
    if (!bytes.empty()) {
        text.data.reset(new char[bytes.size() + 1]());
        std::memcpy(text.data.get(), bytes.data(), bytes.size());
    }
    return text;
}

} // namespace wex::common::dmp
