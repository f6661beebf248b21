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

} // namespace wex::common::dmp
