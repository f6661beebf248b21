// wex::common::dmp::MessageBuffer: an owned buffer of exactly one message's size, filled by the
// message's Serialize; what a sender hands to SendKPDMPData. Allocation failure throws
// memory::OutOfMemoryException (-3); serialising throws the encoder's exceptions.
#pragma once

#include "framework/buffer/buffer.h"
#include "framework/encoding/encodingstream.h"
#include "framework/exception/exception.h"

#include <cstdint>
#include <memory>
#include <new>

namespace wex::common::dmp {

class MessageBuffer {
public:
    explicit MessageBuffer(uint64_t size)
        : m_bytes(new (std::nothrow) uint8_t[size ? size : 1]), m_size(size) {
        if (!m_bytes)
            throw memory::OutOfMemoryException();
    }

    template <class Message> static MessageBuffer Of(const Message& message) {
        MessageBuffer result(message.size());
        encoding::LEEncodingBufferStream stream(result.Buffer());
        message.Serialize(stream);
        return result;
    }

    buffer::Buffer Buffer() const { return buffer::Buffer(m_bytes.get(), m_size); }
    const uint8_t* Data() const { return m_bytes.get(); }
    uint64_t Size() const { return m_size; }

private:
    std::unique_ptr<uint8_t[]> m_bytes;
    uint64_t m_size;
};

} // namespace wex::common::dmp
