// ZrByteBuffer: a handle on a shared, reference-counted, growable byte array with copy on write.
// Copies share the representation (a count is raised); every writer makes it private first.
// Reference counts are plain integers: a buffer and its copies belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

// The shared storage behind ZrByteBuffer. Written only while its count is 1.
class ZrByteBufferRep {
public:
    ZrByteBufferRep() = default;
    ZrByteBufferRep(const ZrByteBufferRep&) = delete;
    ZrByteBufferRep& operator=(const ZrByteBufferRep&) = delete;

    // Reallocates to (newLength + headroom) rounded down to 16 bytes; the headroom is
    // newLength/8 + 16 when the length is set as well, 16 otherwise.
    virtual void _extend(uint64_t newLength, bool setLength);
    // Drops one reference; the last one destroys the representation.
    virtual void Release();
    virtual ~ZrByteBufferRep();

    void Insert(uint64_t position, uint64_t count, const void* bytes);
    void Remove(uint64_t position, uint64_t count);

    uint32_t m_refCount = 1;
    uint64_t m_length = 0;
    uint64_t m_capacity = 0;
    unsigned char* m_data = nullptr;
};

class ZrByteBuffer {
public:
    ZrByteBuffer() = default;
    ZrByteBuffer(const void* bytes, uint64_t length);
    ZrByteBuffer(const ZrByteBuffer& other);
    ZrByteBuffer(ZrByteBuffer&& other) noexcept;
    ZrByteBuffer& operator=(const ZrByteBuffer& other);
    ZrByteBuffer& operator=(ZrByteBuffer&& other) noexcept;

    // Makes the representation private (creating an empty one when there is none).
    virtual void _Unique();
    virtual ~ZrByteBuffer();

    uint64_t Length() const { return m_pRep ? m_pRep->m_length : 0; }
    bool IsEmpty() const { return Length() == 0; }
    const unsigned char* Data() const { return m_pRep ? m_pRep->m_data : nullptr; }
    // Private, writable bytes; the pointer lives until the next change of length.
    unsigned char* MutableData();
    unsigned char operator[](uint64_t i) const { return m_pRep->m_data[i]; }

    void Append(const void* bytes, uint64_t count);
    void AppendByte(unsigned char byte) { Append(&byte, 1); }
    void Append(const ZrByteBuffer& other) { Append(other.Data(), other.Length()); }
    void InsertBytes(uint64_t position, const void* bytes, uint64_t count);
    void RemoveBytes(uint64_t position, uint64_t count);
    // Cuts to or extends to `length` bytes; new bytes are zero.
    void SetLength(uint64_t length);
    // Drops this handle's reference; the buffer becomes empty.
    void Clear();
    // Overwrites the bytes with zeros in place (every handle sharing them sees it), for secrets.
    void Wipe();

    // Byte comparison over this buffer's length; the caller has checked both lengths agree.
    bool _equal(const ZrByteBuffer& other) const;
    bool operator==(const ZrByteBuffer& other) const;
    bool operator!=(const ZrByteBuffer& other) const { return !(*this == other); }

    // h = h * 9 + byte from 0, modulo 2^32; the dictionary's key hash.
    uint32_t HashValue() const;

    // Number of handles sharing the representation (0 when there is none).
    uint32_t ShareCount() const { return m_pRep ? m_pRep->m_refCount : 0; }
    uint64_t Capacity() const { return m_pRep ? m_pRep->m_capacity : 0; }

protected:
    ZrByteBufferRep* m_pRep = nullptr;
};
