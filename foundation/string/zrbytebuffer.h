// ZrByteBuffer: a handle on a shared, reference-counted, growable byte array with copy on write.
// Copies share the representation (a count is raised); every writer makes it private first.
// Reference counts are plain integers: a buffer and its copies belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// The shared storage behind ZrByteBuffer. Written only while its count is 1. Its bytes are wiped when
// it is destroyed, when they move to a larger block and when they are cut: passwords pass through.
class ZrByteBufferRep {
public:
    ZrByteBufferRep() = default;
    ZrByteBufferRep(const ZrByteBufferRep&) = delete;
    ZrByteBufferRep& operator=(const ZrByteBufferRep&) = delete;

    // A representation of `length` bytes whose first block of `capacity` bytes sits right behind it,
    // in the same allocation: most buffers are written once and never grow, and for them this halves
    // the calls into the allocator and the memory lost to block headers. The bytes move to a block of
    // their own the first time they outgrow that room.
    static ZrByteBufferRep* New(uint64_t length, uint64_t capacity);
    // The capacity _extend(length, true) gives.
    static uint64_t GrownCapacity(uint64_t length) { return (length + length / 8 + 16) & ~uint64_t(15); }
    // Representations live in malloc'ed memory, with or without room behind them.
    static void* operator new(std::size_t size);
    static void operator delete(void* block);

    // Reallocates to (newLength + headroom) rounded down to 16 bytes; the headroom is
    // newLength/8 + 16 when the length is set as well, 16 otherwise.
    virtual void _extend(uint64_t newLength, bool setLength);
    // Drops one reference; the last one destroys the representation.
    virtual void Release();
    virtual ~ZrByteBufferRep();

    void Insert(uint64_t position, uint64_t count, const void* bytes);
    void Remove(uint64_t position, uint64_t count);

    uint32_t m_refCount = 1;
    // Whether m_data points at the room behind this representation rather than at a block of its own.
    bool m_dataInline = false;
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
    unsigned char* MutableData() {
        MakeWritable();
        return m_pRep->m_data;
    }
    unsigned char operator[](uint64_t i) const { return m_pRep->m_data[i]; }

    void Append(const void* bytes, uint64_t count);
    void AppendByte(unsigned char byte) { Append(&byte, 1); }
    void Append(const ZrByteBuffer& other) { Append(other.Data(), other.Length()); }
    // Replaces the contents by `count` bytes in a new private representation whose block holds exactly
    // them (capacity = count), for text whose length is known and which is seldom appended to later;
    // a later append grows it by the usual rule. Nothing (no representation) for a count of 0.
    void AssignExact(const void* bytes, uint64_t count);
    void InsertBytes(uint64_t position, const void* bytes, uint64_t count);
    void RemoveBytes(uint64_t position, uint64_t count);
    // Cuts to or extends to `length` bytes; new bytes are zero.
    void SetLength(uint64_t length);
    // The same, leaving new bytes undefined: for writers that fill them straight away.
    void Resize(uint64_t length);
    // Drops this handle's reference; the buffer becomes empty.
    void Clear();
    // For a secret that is done with: bytes this handle alone holds are zeroed in place (allocation and
    // length stay, for reuse); shared bytes are only let go of, since another handle still uses them and
    // the last one to release them wipes them.
    void Wipe();

    // Byte comparison over this buffer's length; the caller has checked both lengths agree.
    bool _equal(const ZrByteBuffer& other) const;
    bool operator==(const ZrByteBuffer& other) const;
    bool operator!=(const ZrByteBuffer& other) const { return !(*this == other); }

    // h = h * 9 + byte from 0, modulo 2^32; the dictionary's key hash.
    uint32_t HashValue() const { return HashBytes(Data(), Length()); }
    static inline uint32_t HashBytes(const void* bytes, uint64_t length);

    // Number of handles sharing the representation (0 when there is none).
    uint32_t ShareCount() const { return m_pRep ? m_pRep->m_refCount : 0; }
    uint64_t Capacity() const { return m_pRep ? m_pRep->m_capacity : 0; }

protected:
    // _Unique, with the common case (a representation this handle alone holds) decided inline.
    void MakeWritable() {
        if (!m_pRep || m_pRep->m_refCount != 1)
            _Unique();
    }

    ZrByteBufferRep* m_pRep = nullptr;
};

inline uint32_t ZrByteBuffer::HashBytes(const void* bytes, uint64_t length) {
    const unsigned char* p = static_cast<const unsigned char*>(bytes);
    uint32_t h = 0;
    for (uint64_t i = 0; i < length; ++i)
        h = h * 9 + p[i];
    return h;
}
