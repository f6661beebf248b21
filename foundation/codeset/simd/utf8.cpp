#include "foundation/codeset/simd/utf8.h"

#include <cstdint>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define ZR_UTF8_BLOCKS 1
#if !defined(__clang__)
// g++ 12 sees the deliberately undefined vectors inside the intrinsics as maybe uninitialised.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#endif

#include "foundation/codeset/zrconverter.h"

namespace zr_codeset::utf8 {

#if defined(ZR_UTF8_BLOCKS)

namespace {

// The whole file is built for the baseline processor; only these functions use the wider
// instructions, and callers run them only while simd::Enabled() says the processor has them.
#define ZR_UTF8_TARGET __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,bmi2")))

// Byte indexes that spread the 64 bytes of a step into four groups of 16 lanes of 32 bits, lane k of
// group g holding bytes 16g + k to 16g + k + 3 (modulo 64: the lanes that wrap are never used).
constexpr auto kSpread = [] {
    struct alignas(64) {
        unsigned char index[4][64];
    } t{};
    for (unsigned g = 0; g < 4; ++g)
        for (unsigned k = 0; k < 64; ++k)
            t.index[g][k] = static_cast<unsigned char>((16 * g + k / 4 + k % 4) % 64);
    return t;
}();

} // namespace

// A step reads 64 bytes and takes the characters that start in the first 61 (the two bytes after
// them are read for the last ones); a short string is one step. Every position gets a class from
// its byte: ASCII, continuation, lead of two or of three bytes, or anything else. The leads say
// which positions must be continuation bytes; where that disagrees with the bytes, where a byte
// starts nothing this loop takes (C0, C1, F0-FF), or where a three-byte lead starts an overlong form
// (E0 80-9F) or a surrogate (ED A0-BF), is a stop. Since the step starts at a character boundary
// and every position before the first stop is accounted for, the characters that end at or before
// the stop are well formed: their values are computed in all lanes at once, 16 lanes at a time, and
// the lanes of their leads packed together and stored as units.
ZR_UTF8_TARGET ZR_CODESET_HOT size_t DecodeBlocks(const unsigned char* bytes, size_t i, size_t length,
                                                  ZrUniChar*& cursor) {
    constexpr uint64_t kLeadRange = (uint64_t{1} << 61) - 1, kAfter = uint64_t{3} << 61;
    ZrUniChar* out = cursor;
    const __m512i contEnd = _mm512_set1_epi8(static_cast<char>(0xC0));
    const __m512i twoLo = _mm512_set1_epi8(static_cast<char>(0xC2));
    const __m512i threeLo = _mm512_set1_epi8(static_cast<char>(0xE0));
    const __m512i fourLo = _mm512_set1_epi8(static_cast<char>(0xF0));
    const __m512i secondLo = _mm512_set1_epi8(static_cast<char>(0xA0));
    const __m512i surrogateLead = _mm512_set1_epi8(static_cast<char>(0xED));
    const __m512i low5 = _mm512_set1_epi32(0x1F), low6 = _mm512_set1_epi32(0x3F),
                  low8 = _mm512_set1_epi32(0xFF);
    while (i < length) {
        size_t left = length - i;
        // Bytes past the end read as zero (ASCII), and the stop is moved back to the end below.
        __mmask64 present = left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
        __m512i b = _mm512_maskz_loadu_epi8(present, bytes + i);
        uint64_t ascii = ~_mm512_movepi8_mask(b) & kLeadRange;
        uint64_t cont = _mm512_cmplt_epi8_mask(b, contEnd); // 80-BF, compared as signed
        uint64_t threeUp = _mm512_cmpge_epu8_mask(b, threeLo);
        uint64_t two = _mm512_cmpge_epu8_mask(b, twoLo) & ~threeUp & kLeadRange;
        uint64_t three = threeUp & ~_mm512_cmpge_epu8_mask(b, fourLo) & kLeadRange;
        uint64_t secondLow = _mm512_cmplt_epu8_mask(b, secondLo) >> 1; // the byte after is below A0
        uint64_t overlong = _mm512_cmpeq_epi8_mask(b, threeLo) & secondLow;
        uint64_t surrogate = _mm512_cmpeq_epi8_mask(b, surrogateLead) & ~secondLow;
        uint64_t need = (two | three) << 1 | three << 2;
        // Among the leads' positions the continuation bytes are exactly the needed ones; the two
        // positions after them only have to hold those the last leads need (the rest is the next
        // step's).
        uint64_t stops = ((need ^ cont) & kLeadRange) | (need & ~cont & kAfter) |
                         (~(ascii | two | three | cont) & kLeadRange) | ((overlong | surrogate) & kLeadRange);
        size_t stop = stops ? static_cast<size_t>(__builtin_ctzll(stops)) : 63;
        stop = stop < left ? stop : left;
        // Where each character ends (at most position 63), and the last of those at or before the stop.
        uint64_t ends = ascii << 1 | two << 2 | three << 3;
        ends &= (uint64_t{2} << stop) - 1;
        if (ends == 0)
            break;
        unsigned used = 63 - static_cast<unsigned>(__builtin_clzll(ends));
        uint64_t leads = (ascii | two | three) & ((uint64_t{1} << used) - 1);
        for (unsigned g = 0; g < 4; ++g) {
            __m512i w = _mm512_permutexvar_epi8(_mm512_load_si512(kSpread.index[g]), b);
            __mmask16 groupAscii = static_cast<__mmask16>(ascii >> 16 * g);
            __mmask16 groupThree = static_cast<__mmask16>(three >> 16 * g);
            __mmask16 groupLeads = static_cast<__mmask16>(leads >> 16 * g);
            // Two-byte value; for a three-byte lead (E0-EF) the same five low bits hold its four.
            __m512i v2 = _mm512_or_si512(_mm512_slli_epi32(_mm512_and_si512(w, low5), 6),
                                         _mm512_and_si512(_mm512_srli_epi32(w, 8), low6));
            __m512i v3 =
                _mm512_or_si512(_mm512_slli_epi32(v2, 6), _mm512_and_si512(_mm512_srli_epi32(w, 16), low6));
            __m512i v = _mm512_mask_mov_epi32(v2, groupThree, v3);
            v = _mm512_mask_and_epi32(v, groupAscii, w, low8);
            v = _mm512_maskz_compress_epi32(groupLeads, v);
            unsigned n = static_cast<unsigned>(__builtin_popcount(groupLeads));
            _mm256_mask_storeu_epi16(out, static_cast<__mmask16>((1u << n) - 1), _mm512_cvtepi32_epi16(v));
            out += n;
        }
        i += used;
        if (stops)
            break; // the next character needs the caller (or the input ended)
    }
    cursor = out;
    return i;
}

// Stores the bytes of the first `units` of 16 units (lanes of `x`, `two` and `three` their masks of
// two- and three-byte characters, clear past `units`) at p; returns how many. Each unit becomes a lane
// holding its one to three bytes, and the bytes to keep are gathered to the front by one byte permutation.
// Its indexes are the positions of the kept bytes in order: bit b of each index, taken over all of them, is
// the keep mask with only the positions that have bit b set kept, squeezed together.
ZR_UTF8_TARGET inline unsigned EncodeLanes(__m512i x, unsigned units, uint32_t two, uint32_t three,
                                           unsigned char* p) {
    const __m512i low6 = _mm512_set1_epi32(0x3F), mark = _mm512_set1_epi32(0x80);
    __m512i last = _mm512_or_si512(_mm512_and_si512(x, low6), mark);
    __m512i mid = _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi32(x, 6), low6), mark);
    __m512i word2 = _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi32(x, 6), _mm512_set1_epi32(0xC0)),
                                    _mm512_slli_epi32(last, 8));
    __m512i word3 = _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi32(x, 12), _mm512_set1_epi32(0xE0)),
                                    _mm512_or_si512(_mm512_slli_epi32(mid, 8), _mm512_slli_epi32(last, 16)));
    __m512i word = _mm512_mask_mov_epi32(x, static_cast<__mmask16>(two), word2);
    word = _mm512_mask_mov_epi32(word, static_cast<__mmask16>(three), word3);
    uint64_t keep = 0x1111111111111111ull | _pdep_u64(two, 0x2222222222222222ull) |
                    _pdep_u64(three, 0x4444444444444444ull);
    static constexpr uint64_t kBit[6] = {0xAAAAAAAAAAAAAAAAull, 0xCCCCCCCCCCCCCCCCull, 0xF0F0F0F0F0F0F0F0ull,
                                         0xFF00FF00FF00FF00ull, 0xFFFF0000FFFF0000ull, 0xFFFFFFFF00000000ull};
    __m512i index = _mm512_setzero_si512();
    for (unsigned b = 0; b < 6; ++b)
        index = _mm512_mask_add_epi8(index, _pext_u64(kBit[b], keep), index,
                                     _mm512_set1_epi8(static_cast<char>(1 << b)));
    unsigned n = units + static_cast<unsigned>(__builtin_popcount(two) + __builtin_popcount(three));
    // The lanes past `units` come after the bytes stored.
    _mm512_mask_storeu_epi8(p, (__mmask64{1} << n) - 1, _mm512_permutexvar_epi8(index, word));
    return n;
}

// A step takes up to 32 units in front of the first surrogate: all ASCII, narrowed and stored;
// otherwise as two halves of 16 lanes.
ZR_UTF8_TARGET ZR_CODESET_HOT size_t EncodeBlocks(const ZrUniChar* units, size_t i, size_t count,
                                                  unsigned char* p, size_t& written) {
    size_t w = written;
    const __m512i surrogateLo = _mm512_set1_epi16(static_cast<short>(0xD800));
    const __m512i surrogateSpan = _mm512_set1_epi16(0x800);
    const __m512i twoLo = _mm512_set1_epi16(0x80), threeLo = _mm512_set1_epi16(0x800);
    while (i < count) {
        size_t left = count - i;
        uint32_t present = left >= 32 ? ~0u : (1u << left) - 1;
        __m512i u = _mm512_maskz_loadu_epi16(present, units + i);
        uint32_t surrogates =
            _mm512_cmplt_epu16_mask(_mm512_sub_epi16(u, surrogateLo), surrogateSpan) & present;
        uint32_t take = surrogates ? (1u << __builtin_ctz(surrogates)) - 1 : present;
        if (take == 0)
            break;
        unsigned n = static_cast<unsigned>(__builtin_popcount(take));
        uint32_t two = _mm512_cmpge_epu16_mask(u, twoLo) & take;
        if (two == 0) {
            _mm512_mask_cvtepi16_storeu_epi8(p + w, take, u);
            w += n;
        } else {
            uint32_t three = _mm512_cmpge_epu16_mask(u, threeLo) & take;
            unsigned low = n < 16 ? n : 16;
            w += EncodeLanes(_mm512_cvtepu16_epi32(_mm512_castsi512_si256(u)), low, two & 0xFFFF,
                             three & 0xFFFF, p + w);
            w += EncodeLanes(_mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(u, 1)), n - low, two >> 16,
                             three >> 16, p + w);
        }
        i += n;
        if (surrogates)
            break;
    }
    written = w;
    return i;
}

#else

size_t DecodeBlocks(const unsigned char*, size_t i, size_t, ZrUniChar*&) {
    return i;
}

size_t EncodeBlocks(const ZrUniChar*, size_t i, size_t, unsigned char*, size_t&) {
    return i;
}

#endif

} // namespace zr_codeset::utf8
