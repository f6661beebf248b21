// buffer::Buffer (a view of bytes: pointer and length, never owning them) and buffer::VarBuffer
// (a view that is filled from its start up to a capacity). Out-of-range access throws
// buffer::IndexOutOfBoundsException (code -4).
#pragma once

#include "framework/exception/exception.h"

#include <cstdint>

namespace buffer {

class BufferException : public exception::RCException {
public:
    explicit BufferException(int32_t code) : RCException(code) {}
};

class IndexOutOfBoundsException : public BufferException {
public:
    IndexOutOfBoundsException() : BufferException(-4) {}
    const char* what() const noexcept override { return "buffer::IndexOutOfBoundsException"; }
};

class Buffer {
public:
    Buffer() = default;
    Buffer(void* data, uint64_t length) : m_pData(static_cast<uint8_t*>(data)), m_length(length) {}
    // Read-only bytes: only ever handed to writers, which do not change them.
    Buffer(const void* data, uint64_t length) : Buffer(const_cast<void*>(data), length) {}

    uint8_t* Data() const { return m_pData; }
    uint64_t Length() const { return m_length; }
    uint8_t& At(uint64_t index) const;

private:
    uint8_t* m_pData = nullptr;
    uint64_t m_length = 0;
};

// Reads append at the fill position; the bytes before it are the data received so far.
class VarBuffer {
public:
    VarBuffer() = default;
    VarBuffer(void* data, uint64_t capacity, uint64_t fill = 0);

    uint8_t* Data() const { return m_pData; }
    uint64_t Fill() const { return m_fill; }
    uint64_t Capacity() const { return m_capacity; }
    uint64_t Room() const { return m_capacity - m_fill; }
    uint8_t* FillPointer() const { return m_pData + m_fill; }
    // Moves the fill position by `count` bytes; beyond the capacity throws.
    void Advance(uint64_t count);
    void SetFill(uint64_t fill);
    // The filled part as a Buffer.
    Buffer Filled() const { return Buffer(m_pData, m_fill); }

private:
    uint8_t* m_pData = nullptr;
    uint64_t m_fill = 0;
    uint64_t m_capacity = 0;
};

} // namespace buffer
