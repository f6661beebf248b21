#include "framework/stream/bufferstream.h"

#include "framework/stream/streamexception.h"

#include <algorithm>
#include <cstring>

namespace stream {

uint64_t BufferInputStream::Read(buffer::VarBuffer& target) {
    const uint64_t count = std::min(Remaining(), target.Room());
    if (count == 0)
        throw EOSException();
    std::memcpy(target.FillPointer(), m_source.Data() + m_position, count);
    m_position += count;
    target.Advance(count);
    return target.Fill();
}

uint64_t BufferOutputStream::Write(const buffer::Buffer& source) {
    if (m_position == m_target.Length())
        throw EOSException();
    const uint64_t count = std::min(m_target.Length() - m_position, source.Length());
    if (count != 0)
        std::memcpy(m_target.Data() + m_position, source.Data(), count);
    m_position += count;
    return count;
}

} // namespace stream
