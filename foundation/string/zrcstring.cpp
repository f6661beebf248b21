#include "foundation/string/zrcstring.h"

#include "foundation/crypto/zrsecurewipe.h"

#include <cstdlib>
#include <cstring>
#include <new>

ZrCStringRep::~ZrCStringRep() {
    // As for byte buffers: text that may have held a secret is wiped before the block goes back.
    ZrSecureWipe(m_data, m_capacity);
    std::free(m_data);
}

void ZrCStringRep::_extend(uint32_t n) {
    uint64_t need = uint64_t(n) + 1;
    uint64_t capacity = (need + need / 8 + 16) & ~uint64_t(15);
    // Not realloc, which could free the old block unwiped.
    void* block = std::malloc(capacity);
    if (!block)
        throw std::bad_alloc();
    if (m_data)
        std::memcpy(block, m_data, m_length + 1);
    ZrSecureWipe(m_data, m_capacity);
    std::free(m_data);
    m_data = static_cast<char*>(block);
    m_capacity = static_cast<uint32_t>(capacity);
    m_data[m_length] = 0;
}

void ZrCStringRep::PreAllocate(uint32_t n) {
    if (uint64_t(n) + 1 > m_capacity)
        _extend(n);
}

void ZrCStringRep::Insert(uint32_t position, uint32_t count, const char* bytes) {
    PreAllocate(m_length + count);
    std::memmove(m_data + position + count, m_data + position, m_length - position + 1);
    std::memcpy(m_data + position, bytes, count);
    m_length += count;
}

void ZrCStringRep::Remove(uint32_t position, uint32_t count) {
    std::memmove(m_data + position, m_data + position + count, m_length - position - count + 1);
    m_length -= count;
    ZrSecureWipe(m_data + m_length + 1, count);
}

ZrCString::ZrCString(const char* text) {
    if (text)
        Append(text, static_cast<uint32_t>(std::strlen(text)));
}

ZrCString::ZrCString(const char* text, uint32_t length) {
    Append(text, length);
}

ZrCString::ZrCString(const ZrCString& other) : m_pRep(other.m_pRep) {
    if (m_pRep)
        ++m_pRep->m_refCount;
}

ZrCString& ZrCString::operator=(const ZrCString& other) {
    if (this == &other)
        return *this;
    if (other.m_pRep)
        ++other.m_pRep->m_refCount;
    if (m_pRep && --m_pRep->m_refCount == 0)
        delete m_pRep;
    m_pRep = other.m_pRep;
    return *this;
}

ZrCString::~ZrCString() {
    if (m_pRep && --m_pRep->m_refCount == 0)
        delete m_pRep;
}

void ZrCString::_Unique() {
    if (!m_pRep) {
        m_pRep = new ZrCStringRep;
        m_pRep->PreAllocate(0);
        return;
    }
    if (m_pRep->m_refCount == 1)
        return;
    auto* copy = new ZrCStringRep;
    copy->Insert(0, m_pRep->m_length, m_pRep->m_data);
    --m_pRep->m_refCount;
    m_pRep = copy;
}

ZrCString& ZrCString::Append(const char* bytes, uint32_t count) {
    _Unique();
    m_pRep->Insert(m_pRep->m_length, count, bytes);
    return *this;
}

void ZrCString::Insert(uint32_t position, const char* bytes, uint32_t count) {
    _Unique();
    m_pRep->Insert(position, count, bytes);
}

void ZrCString::Remove(uint32_t position, uint32_t count) {
    if (count == 0)
        return;
    _Unique();
    m_pRep->Remove(position, count);
}

void ZrCString::ToUpper() {
    if (Length() == 0)
        return;
    _Unique();
    for (uint32_t i = 0; i < m_pRep->m_length; ++i) {
        char c = m_pRep->m_data[i];
        if (c >= 'a' && c <= 'z')
            m_pRep->m_data[i] = static_cast<char>(c - 32);
    }
}

bool ZrCString::operator==(const ZrCString& other) const {
    return Length() == other.Length() && std::memcmp(c_str(), other.c_str(), Length()) == 0;
}

uint32_t ZrCString::HashValue() const {
    uint32_t h = 0;
    const char* p = c_str();
    for (uint32_t i = 0, n = Length(); i < n; ++i)
        h = h * 9 + static_cast<unsigned char>(p[i]);
    return h;
}
