#include "framework/buffer/buffer.h"

namespace buffer {

uint8_t& Buffer::At(uint64_t index) const {
    if (index >= m_length)
        throw IndexOutOfBoundsException();
    return m_pData[index];
}

VarBuffer::VarBuffer(void* data, uint64_t capacity, uint64_t fill)
    : m_pData(static_cast<uint8_t*>(data)), m_fill(fill), m_capacity(capacity) {
    if (fill > capacity)
        throw IndexOutOfBoundsException();
}

void VarBuffer::Advance(uint64_t count) {
    if (count > Room())
        throw IndexOutOfBoundsException();
    m_fill += count;
}

void VarBuffer::SetFill(uint64_t fill) {
    if (fill > m_capacity)
        throw IndexOutOfBoundsException();
    m_fill = fill;
}

} // namespace buffer
