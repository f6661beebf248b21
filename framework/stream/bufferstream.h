// Streams over a buffer they do not own: stream::BufferInputStream reads it from the start,
// stream::BufferOutputStream fills it and never grows it. At the end of the buffer both throw
// stream::EOSException; a partial transfer returns the shorter count.
#pragma once

#include "framework/stream/istream.h"

namespace stream {

class BufferInputStream : public IInputStream {
public:
    explicit BufferInputStream(const buffer::Buffer& source) : m_source(source) {}

    uint64_t Read(buffer::VarBuffer& target) override;
    uint64_t Position() const { return m_position; }
    uint64_t Remaining() const { return m_source.Length() - m_position; }

private:
    buffer::Buffer m_source;
    uint64_t m_position = 0;
};

class BufferOutputStream : public IOutputStream {
public:
    explicit BufferOutputStream(const buffer::Buffer& target) : m_target(target) {}
    // Writes into the whole capacity of the buffer, from its start.
    explicit BufferOutputStream(const buffer::VarBuffer& target)
        : m_target(target.Data(), target.Capacity()) {}

    uint64_t Write(const buffer::Buffer& source) override;
    uint64_t Position() const { return m_position; }

private:
    buffer::Buffer m_target;
    uint64_t m_position = 0;
};

} // namespace stream
