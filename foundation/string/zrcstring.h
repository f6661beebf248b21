// ZrCString: 8-bit, zero-terminated text in a shared, copy-on-write representation (ZrCStringRep),
// the byte-string counterpart of ZrUniString used for encoding names and other C-level text. Blocks
// are wiped when released, grown or cut, as byte buffers are.
#pragma once

#include <cstdint>

class ZrCStringRep {
public:
    ZrCStringRep() = default;
    ZrCStringRep(const ZrCStringRep&) = delete;
    ZrCStringRep& operator=(const ZrCStringRep&) = delete;
    virtual ~ZrCStringRep();

    // Makes room for n characters plus the terminator.
    void PreAllocate(uint32_t n);
    void Insert(uint32_t position, uint32_t count, const char* bytes);
    void Remove(uint32_t position, uint32_t count);
    // Grows the block to hold n characters and the terminator, with the same headroom rule as
    // ZrByteBufferRep.
    void _extend(uint32_t n);

    uint32_t m_refCount = 1;
    uint32_t m_length = 0;
    uint32_t m_capacity = 0;
    char* m_data = nullptr;
};

class ZrCString {
public:
    ZrCString() = default;
    ZrCString(const char* text);
    ZrCString(const char* text, uint32_t length);
    ZrCString(const ZrCString& other);
    ZrCString& operator=(const ZrCString& other);
    virtual void _Unique();
    virtual ~ZrCString();

    uint32_t Length() const { return m_pRep ? m_pRep->m_length : 0; }
    // Always zero-terminated; "" for an empty string.
    const char* c_str() const { return m_pRep && m_pRep->m_data ? m_pRep->m_data : ""; }
    char operator[](uint32_t i) const { return m_pRep->m_data[i]; }

    ZrCString& Append(const char* bytes, uint32_t count);
    ZrCString& Append(char c) { return Append(&c, 1); }
    void Insert(uint32_t position, const char* bytes, uint32_t count);
    void Remove(uint32_t position, uint32_t count);
    // Upper-cases ASCII letters in place.
    void ToUpper();

    bool operator==(const ZrCString& other) const;
    bool operator!=(const ZrCString& other) const { return !(*this == other); }
    // Same hash as ZrByteBuffer::HashValue over the characters.
    uint32_t HashValue() const;

private:
    ZrCStringRep* m_pRep = nullptr;
};
