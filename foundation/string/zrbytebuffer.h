// ZrByteBuffer: a handle on a shared, reference-counted, growable byte array with copy on write.
// Copies share the representation (a count is raised); every writer makes it private first.
// Reference counts are plain integers: a buffer and its copies belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
    // Overwrites the bytes with zeros in place (every handle sharing them sees it), for secrets.
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

// HashValue's number, sixteen bytes per step. Over a block, h * 9^16 + sum(b[j] * 9^(15-j)): the sum does
// not depend on h, so the chain that carries h costs one multiply-add per block instead of per byte. The
// sum of eight bytes is folded pairwise inside one 64-bit word: bytes into 16-bit lanes (b * 9 + next),
// those into 32-bit lanes (* 81), those into one (* 6561); no lane can overflow into its neighbour.
inline uint32_t ZrByteBuffer::HashBytes(const void* bytes, uint64_t length) {
    static constexpr uint32_t power[9] = {1, 9, 81, 729, 6561, 59049, 531441, 4782969, 43046721};
    constexpr uint32_t p8 = power[8], p16 = p8 * p8; // modulo 2^32
    auto load = [](const unsigned char* b) {
        uint64_t x;
        std::memcpy(&x, b, 8);
        if constexpr (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
            x = __builtin_bswap64(x);
        return x; // b[0] in the low byte
    };
    auto eight = [](uint64_t x) -> uint32_t {
        constexpr uint64_t m16 = 0x00FF00FF00FF00FFull, m32 = 0x0000FFFF0000FFFFull;
        uint64_t pairs = (x & m16) * 9 + (x >> 8 & m16);
        uint64_t quads = (pairs & m32) * 81 + (pairs >> 16 & m32);
        return uint32_t(quads) * 6561u + uint32_t(quads >> 32);
    };
    const unsigned char* p = static_cast<const unsigned char*>(bytes);
    uint32_t h = 0;
    uint64_t i = 0;
#if defined(__SSE2__)
    // With SSE2 a block is folded in vector lanes: bytes times (9, 1) into 32-bit pair sums, those
    // (packed back to 16 bits; they are at most 2550) times (81, 1) into four quad sums, and those times
    // 9^12, 9^8, 9^4 and 1 into one.
    for (; i + 16 <= length; i += 16) {
        const __m128i zero = _mm_setzero_si128(), by9 = _mm_set1_epi32(0x00010009),
                      by81 = _mm_set1_epi32(0x00010051);
        __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        __m128i pairsLow = _mm_madd_epi16(_mm_unpacklo_epi8(x, zero), by9);
        __m128i pairsHigh = _mm_madd_epi16(_mm_unpackhi_epi8(x, zero), by9);
        __m128i quads = _mm_madd_epi16(_mm_packs_epi32(pairsLow, pairsHigh), by81);
        __m128i even = _mm_mul_epu32(quads, _mm_set_epi32(0, int(power[4]), 0, int(p8 * power[4])));
        __m128i odd = _mm_mul_epu32(_mm_srli_epi64(quads, 32), _mm_set_epi32(0, 1, 0, int(p8)));
        __m128i sum = _mm_add_epi64(even, odd);
        sum = _mm_add_epi64(sum, _mm_unpackhi_epi64(sum, sum));
        h = h * p16 + uint32_t(_mm_cvtsi128_si32(sum));
    }
#else
    for (; i + 16 <= length; i += 16)
        h = h * p16 + (eight(load(p + i)) * p8 + eight(load(p + i + 8)));
#endif
    if (i + 8 <= length) {
        h = h * p8 + eight(load(p + i));
        i += 8;
    }
    uint64_t rest = length - i;
    if (rest && length >= 8) {
        // The last eight bytes with the ones already hashed zeroed: the rest sit in the places weighted
        // 9^(rest-1) .. 9^0.
        uint64_t tail = load(p + length - 8) & (~uint64_t(0) << 8 * (8 - rest));
        return h * power[rest] + eight(tail);
    }
    for (; i < length; ++i)
        h = h * 9 + p[i];
    return h;
}
