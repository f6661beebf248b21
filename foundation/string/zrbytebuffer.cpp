#include "foundation/string/zrbytebuffer.h"

#include "foundation/crypto/zrsecurewipe.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

void* ZrByteBufferRep::operator new(std::size_t size) {
    if (void* block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}

void ZrByteBufferRep::operator delete(void* block) {
    std::free(block);
}

ZrByteBufferRep* ZrByteBufferRep::New(uint64_t length, uint64_t capacity) {
    void* block = std::malloc(sizeof(ZrByteBufferRep) + capacity);
    if (!block)
        throw std::bad_alloc();
    auto* rep = ::new (block) ZrByteBufferRep;
    rep->m_data = static_cast<unsigned char*>(block) + sizeof(ZrByteBufferRep);
    rep->m_dataInline = true;
    rep->m_length = length;
    rep->m_capacity = capacity;
    return rep;
}

void ZrByteBufferRep::_extend(uint64_t newLength, bool setLength) {
    uint64_t headroom = setLength ? newLength / 8 + 16 : 16;
    uint64_t capacity = (newLength + headroom) & ~uint64_t(15);
    // Never realloc: a block it moves would be freed with the bytes still in it. The old block is
    // wiped here instead (the room behind the representation too: the bytes leave it for good).
    void* block = std::malloc(capacity);
    if (!block)
        throw std::bad_alloc();
    if (m_data)
        std::memcpy(block, m_data, m_capacity < capacity ? m_capacity : capacity);
    ZrSecureWipe(m_data, m_capacity);
    if (!m_dataInline)
        std::free(m_data);
    m_data = static_cast<unsigned char*>(block);
    m_dataInline = false;
    m_capacity = capacity;
    if (setLength)
        m_length = newLength;
}

void ZrByteBufferRep::Release() {
    if (--m_refCount == 0)
        delete this;
}

ZrByteBufferRep::~ZrByteBufferRep() {
    // Any buffer may have carried a secret on its way (a password, the text or packet holding one):
    // none goes back to the allocator readable.
    ZrSecureWipe(m_data, m_capacity);
    if (!m_dataInline)
        std::free(m_data);
}

void ZrByteBufferRep::Insert(uint64_t position, uint64_t count, const void* bytes) {
    uint64_t oldLength = m_length;
    if (oldLength + count >= m_capacity)
        _extend(oldLength + count, true);
    else
        m_length = oldLength + count;
    if (count == 0)
        return;
    std::memmove(m_data + position + count, m_data + position, oldLength - position);
    std::memcpy(m_data + position, bytes, count);
}

void ZrByteBufferRep::Remove(uint64_t position, uint64_t count) {
    if (count == 0)
        return;
    std::memmove(m_data + position, m_data + position + count, m_length - position - count);
    m_length -= count;
    // The tail moved down; its old place keeps no copy.
    ZrSecureWipe(m_data + m_length, count);
}

ZrByteBuffer::ZrByteBuffer(const void* bytes, uint64_t length) {
    Append(bytes, length);
}

ZrByteBuffer::ZrByteBuffer(const ZrByteBuffer& other) : m_pRep(other.m_pRep) {
    if (m_pRep)
        ++m_pRep->m_refCount;
}

ZrByteBuffer::ZrByteBuffer(ZrByteBuffer&& other) noexcept : m_pRep(std::exchange(other.m_pRep, nullptr)) {}

ZrByteBuffer& ZrByteBuffer::operator=(const ZrByteBuffer& other) {
    if (this == &other)
        return *this;
    if (other.m_pRep)
        ++other.m_pRep->m_refCount;
    if (m_pRep)
        m_pRep->Release();
    m_pRep = other.m_pRep;
    return *this;
}

ZrByteBuffer& ZrByteBuffer::operator=(ZrByteBuffer&& other) noexcept {
    if (this != &other) {
        if (m_pRep)
            m_pRep->Release();
        m_pRep = std::exchange(other.m_pRep, nullptr);
    }
    return *this;
}

ZrByteBuffer::~ZrByteBuffer() {
    if (m_pRep)
        m_pRep->Release();
}

void ZrByteBuffer::_Unique() {
    if (!m_pRep) {
        m_pRep = new ZrByteBufferRep;
        return;
    }
    if (m_pRep->m_refCount == 1)
        return;
    uint64_t length = m_pRep->m_length;
    ZrByteBufferRep* copy =
        length ? ZrByteBufferRep::New(length, ZrByteBufferRep::GrownCapacity(length)) : new ZrByteBufferRep;
    if (length)
        std::memcpy(copy->m_data, m_pRep->m_data, length);
    m_pRep->Release();
    m_pRep = copy;
}

void ZrByteBuffer::Append(const void* bytes, uint64_t count) {
    if (!m_pRep && count) {
        m_pRep = ZrByteBufferRep::New(count, ZrByteBufferRep::GrownCapacity(count));
        std::memcpy(m_pRep->m_data, bytes, count);
        return;
    }
    MakeWritable();
    uint64_t length = m_pRep->m_length;
    if (length + count >= m_pRep->m_capacity)
        m_pRep->_extend(length + count, true);
    else
        m_pRep->m_length = length + count;
    if (count)
        std::memcpy(m_pRep->m_data + length, bytes, count);
}

void ZrByteBuffer::AssignExact(const void* bytes, uint64_t count) {
    ZrByteBufferRep* rep = nullptr;
    if (count) {
        rep = ZrByteBufferRep::New(count, count);
        std::memcpy(rep->m_data, bytes, count);
    }
    if (m_pRep)
        m_pRep->Release();
    m_pRep = rep;
}

void ZrByteBuffer::InsertBytes(uint64_t position, const void* bytes, uint64_t count) {
    MakeWritable();
    m_pRep->Insert(position, count, bytes);
}

void ZrByteBuffer::RemoveBytes(uint64_t position, uint64_t count) {
    if (count == 0)
        return;
    MakeWritable();
    m_pRep->Remove(position, count);
}

void ZrByteBuffer::SetLength(uint64_t length) {
    uint64_t old = Length();
    Resize(length);
    if (length > old)
        std::memset(m_pRep->m_data + old, 0, length - old);
}

void ZrByteBuffer::Resize(uint64_t length) {
    uint64_t old = Length();
    if (length == old)
        return;
    if (!m_pRep) {
        m_pRep = ZrByteBufferRep::New(length, ZrByteBufferRep::GrownCapacity(length));
        return;
    }
    MakeWritable();
    if (length >= m_pRep->m_capacity) {
        m_pRep->_extend(length, true);
    } else {
        // Bytes cut off are wiped, so a buffer reused for shorter contents holds nothing of the old.
        if (length < old)
            ZrSecureWipe(m_pRep->m_data + length, old - length);
        m_pRep->m_length = length;
    }
}

void ZrByteBuffer::Clear() {
    if (m_pRep)
        m_pRep->Release();
    m_pRep = nullptr;
}

void ZrByteBuffer::Wipe() {
    if (m_pRep && m_pRep->m_refCount != 1)
        Clear();
    else if (m_pRep)
        ZrSecureWipe(m_pRep->m_data, m_pRep->m_capacity);
}

bool ZrByteBuffer::_equal(const ZrByteBuffer& other) const {
    uint64_t length = Length();
    return length == 0 || std::memcmp(Data(), other.Data(), length) == 0;
}

bool ZrByteBuffer::operator==(const ZrByteBuffer& other) const {
    return Length() == other.Length() && _equal(other);
}
