#include "foundation/codeset/simd/tables.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// g++ 12 takes the deliberately undefined vectors inside the intrinsics (the "don't care" lanes of
// extracts and narrowing moves) for uninitialised variables.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace zr_codeset::simd {

#if defined(__x86_64__)

#define ZR_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,popcnt")))

namespace {

constexpr uint64_t kEvenBits = 0x5555555555555555ull;
constexpr uint64_t kOddBits = ~kEvenBits;

inline uint64_t LowBits(size_t n) {
    return n >= 64 ? ~0ull : (1ull << n) - 1;
}

// 256 16-bit entries in eight registers, looked up by the 32 words of idx (0-255 each).
struct WordTable {
    __m512i t[8];

    ZR_AVX512 explicit WordTable(const uint16_t* table) {
        for (int k = 0; k < 8; ++k)
            t[k] = _mm512_loadu_si512(table + 32 * k);
    }
    ZR_AVX512 __m512i Lookup(__m512i idx) const {
        // Each two-register permute covers 64 entries by the low six bits; bits 6 and 7 pick one.
        __m512i a = _mm512_permutex2var_epi16(t[0], idx, t[1]);
        __m512i b = _mm512_permutex2var_epi16(t[2], idx, t[3]);
        __m512i c = _mm512_permutex2var_epi16(t[4], idx, t[5]);
        __m512i d = _mm512_permutex2var_epi16(t[6], idx, t[7]);
        __mmask32 bit6 = _mm512_test_epi16_mask(idx, _mm512_set1_epi16(0x40));
        __mmask32 bit7 = _mm512_test_epi16_mask(idx, _mm512_set1_epi16(0x80));
        return _mm512_mask_blend_epi16(bit7, _mm512_mask_blend_epi16(bit6, a, b),
                                       _mm512_mask_blend_epi16(bit6, c, d));
    }
};

// 256 byte entries in four registers, looked up by the 64 bytes of idx.
struct ByteTable {
    __m512i t[4];

    ZR_AVX512 explicit ByteTable(const uint8_t* table) {
        for (int k = 0; k < 4; ++k)
            t[k] = _mm512_loadu_si512(table + 64 * k);
    }
    ZR_AVX512 __m512i Lookup(__m512i idx) const {
        __m512i low = _mm512_permutex2var_epi8(t[0], idx, t[1]);
        __m512i high = _mm512_permutex2var_epi8(t[2], idx, t[3]);
        return _mm512_mask_blend_epi8(_mm512_movepi8_mask(idx), low, high);
    }
};

// The 64 units at p (n of them valid) narrowed to their low bytes; `high` gets the units above 0xFF.
ZR_AVX512 inline void LoadUnits(const ZrUniChar* p, size_t n, __m512i& u0, __m512i& u1) {
    u0 = _mm512_maskz_loadu_epi16(static_cast<__mmask32>(LowBits(n < 32 ? n : 32)), p);
    u1 = _mm512_maskz_loadu_epi16(static_cast<__mmask32>(n > 32 ? LowBits(n - 32) : 0), p + 32);
}

ZR_AVX512 inline __m512i Narrow(__m512i u0, __m512i u1) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi16_epi8(u0)), _mm512_cvtepi16_epi8(u1), 1);
}

ZR_AVX512 size_t DecodePageAvx(const uint16_t* toUnicode, const unsigned char* bytes, size_t i, size_t length,
                               ZrUniChar*& out) {
    const WordTable table(toUnicode);
    const __m512i none = _mm512_set1_epi16(-1);
    ZrUniChar* o = out;
    while (i < length) {
        size_t n = length - i < 64 ? length - i : 64;
        uint64_t valid = LowBits(n);
        __m512i b = _mm512_maskz_loadu_epi8(valid, bytes + i);
        __m512i u0 = table.Lookup(_mm512_cvtepu8_epi16(_mm512_castsi512_si256(b)));
        __m512i u1 = table.Lookup(_mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(b, 1)));
        uint64_t holes = (static_cast<uint64_t>(_mm512_cmpeq_epi16_mask(u0, none)) |
                          static_cast<uint64_t>(_mm512_cmpeq_epi16_mask(u1, none)) << 32) &
                         valid;
        if (holes)
            n = static_cast<size_t>(__builtin_ctzll(holes));
        uint64_t take = LowBits(n);
        _mm512_mask_storeu_epi16(o, static_cast<__mmask32>(take), u0);
        _mm512_mask_storeu_epi16(o + 32, static_cast<__mmask32>(take >> 32), u1);
        o += n;
        i += n;
        if (holes)
            break;
    }
    out = o;
    return i;
}

ZR_AVX512 size_t EncodePageAvx(const ReverseMap<uint8_t>& reverse, const ZrUniChar* units, size_t i,
                               size_t count, unsigned char* out, size_t& written) {
    // Text in a page is mostly U+0000-U+00FF, so that block sits in registers; other units stop here.
    const ByteTable table(reverse.cells + reverse.blockOf[0] * 256u);
    const __m512i highByte = _mm512_set1_epi16(static_cast<short>(0xFF00));
    size_t w = written;
    while (i < count) {
        size_t n = count - i < 64 ? count - i : 64;
        __m512i u0, u1;
        LoadUnits(units + i, n, u0, u1);
        uint64_t high = static_cast<uint64_t>(_mm512_test_epi16_mask(u0, highByte)) |
                        static_cast<uint64_t>(_mm512_test_epi16_mask(u1, highByte)) << 32;
        __m512i low = Narrow(u0, u1);
        __m512i code = table.Lookup(low);
        // Byte 00 is U+0000 only; any other empty cell is a unit the page lacks.
        uint64_t missing =
            _mm512_cmpeq_epi8_mask(code, _mm512_setzero_si512()) & _mm512_test_epi8_mask(low, low);
        uint64_t stop = (high | missing) & LowBits(n);
        if (stop)
            n = static_cast<size_t>(__builtin_ctzll(stop));
        _mm512_mask_storeu_epi8(out + w, LowBits(n), code);
        w += n;
        i += n;
        if (stop)
            break;
    }
    written = w;
    return i;
}

// A grid in registers: its byte ranges, and the multiplier that makes a cell index of a lane holding
// (lead offset, trail offset) as two words.
struct GridRegs {
    const uint16_t* cells;
    __m512i leadLo, leadSpan, trailLo, trailSpan, leadHi, trailHi, rowAndOne;
    bool trail7F;

    ZR_AVX512 GridRegs(const uint16_t* grid, uint8_t lo, uint8_t hi, uint8_t tlo, uint8_t thi, bool del)
        : cells(grid), leadLo(_mm512_set1_epi8(static_cast<char>(lo))),
          leadSpan(_mm512_set1_epi8(static_cast<char>(hi - lo))),
          trailLo(_mm512_set1_epi8(static_cast<char>(tlo))),
          trailSpan(_mm512_set1_epi8(static_cast<char>(thi - tlo))),
          leadHi(_mm512_set1_epi8(static_cast<char>(hi))), trailHi(_mm512_set1_epi8(static_cast<char>(thi))),
          rowAndOne(_mm512_set1_epi32(static_cast<int>(thi - tlo + 1u) | (1 << 16))), trail7F(del) {}

    // The positions whose byte (b) and successor (t) fall inside the grid. The gather reads four
    // bytes a cell, so the grid's last cell is left out (to the codec).
    ZR_AVX512 uint64_t Holds(__m512i b, __m512i t) const {
        uint64_t in = _mm512_cmple_epu8_mask(_mm512_sub_epi8(b, leadLo), leadSpan) &
                      _mm512_cmple_epu8_mask(_mm512_sub_epi8(t, trailLo), trailSpan) &
                      ~(_mm512_cmpeq_epi8_mask(b, leadHi) & _mm512_cmpeq_epi8_mask(t, trailHi));
        if (!trail7F)
            in &= ~_mm512_cmpeq_epi8_mask(t, _mm512_set1_epi8(0x7F));
        return in;
    }

    // The cells of the positions 16G to 16G + 15 of `leads` into those lanes of `cell`; returns the
    // leads whose cell is empty.
    template <int G> ZR_AVX512 uint64_t Lookup(__m512i b, __m512i t, uint64_t leads, __m512i& cell) const {
        const __mmask16 mine = static_cast<__mmask16>(leads >> (16 * G));
        if (mine == 0) // short text: a gather costs the same with no lane to fetch
            return 0;
        const __m512i l = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(_mm512_sub_epi8(b, leadLo), G));
        const __m512i r = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(_mm512_sub_epi8(t, trailLo), G));
        // (lead, trail) as the two words of a lane: one multiply-add gives the cell's index.
        const __m512i index = _mm512_madd_epi16(_mm512_or_si512(l, _mm512_slli_epi32(r, 16)), rowAndOne);
        const __m512i found = _mm512_and_si512(_mm512_mask_i32gather_epi32(cell, mine, index, cells, 2),
                                               _mm512_set1_epi32(0xFFFF));
        cell = _mm512_mask_mov_epi32(cell, mine, found);
        return static_cast<uint64_t>(_mm512_mask_cmpeq_epi32_mask(mine, found, _mm512_setzero_si512()))
               << (16 * G);
    }
};

ZR_AVX512 size_t DecodePairsAvx(const PairCodes& codes, const unsigned char* bytes, size_t i, size_t length,
                                ZrUniChar*& out) {
    const __m512i starters = _mm512_loadu_si512(codes.starters);
    const __m512i bitValues = _mm512_set1_epi64(static_cast<long long>(0x8040201008040201ull));
    const GridRegs grid(codes.cells, codes.leadLo, codes.leadHi, codes.trailLo, codes.trailHi, codes.trail7F);
    const GridRegs shifted(codes.shiftCells ? codes.shiftCells : codes.cells, codes.shiftLeadLo,
                           codes.shiftLeadHi, codes.shiftTrailLo, codes.shiftTrailHi, true);
    const __m512i shiftByte = _mm512_set1_epi8(static_cast<char>(codes.shift));
    ZrUniChar* o = out;
    while (i < length) {
        const size_t left = length - i;
        size_t n = left < 64 ? left : 64;
        const uint64_t valid = LowBits(n);
        // b: the bytes of the block; t: each byte's successor, the trail if it is a lead.
        const __m512i b = _mm512_maskz_loadu_epi8(valid, bytes + i);
        const __m512i t = _mm512_maskz_loadu_epi8(LowBits(left - 1), bytes + i + 1);
        // A shift byte is read as a character of its own in front of a pair of the second grid. That
        // is right wherever the checks below pass: before the first failure both readings agree, and
        // a shift byte where a trail belongs fails as that trail.
        const uint64_t shifts = codes.shiftCells ? _mm512_cmpeq_epi8_mask(b, shiftByte) & valid : 0;
        // Every position that could be a lead has its cell fetched at once, before the leads are
        // known: the gathers then run beside the work that finds them (a short text is one block,
        // and its time is the length of that chain).
        const uint64_t inFirst = grid.Holds(b, t) & valid & ~(shifts << 1);
        const uint64_t inSecond = shifts ? (shifts << 1) & shifted.Holds(b, t) : 0;
        __m512i cell[4];
        for (__m512i& c : cell)
            c = _mm512_setzero_si512();
        uint64_t empty = grid.Lookup<0>(b, t, inFirst, cell[0]) | grid.Lookup<1>(b, t, inFirst, cell[1]) |
                         grid.Lookup<2>(b, t, inFirst, cell[2]) | grid.Lookup<3>(b, t, inFirst, cell[3]);
        if (inSecond)
            empty |= shifted.Lookup<0>(b, t, inSecond, cell[0]) | shifted.Lookup<1>(b, t, inSecond, cell[1]) |
                     shifted.Lookup<2>(b, t, inSecond, cell[2]) | shifted.Lookup<3>(b, t, inSecond, cell[3]);

        // The byte's bit in the starter bitmap: byte b >> 3 of it, bit b & 7.
        const __m512i bitmapByte = _mm512_permutexvar_epi8(
            _mm512_and_si512(_mm512_srli_epi16(b, 3), _mm512_set1_epi8(0x1F)), starters);
        const __m512i bitOf = _mm512_shuffle_epi8(bitValues, _mm512_and_si512(b, _mm512_set1_epi8(7)));
        const uint64_t starter = _mm512_test_epi8_mask(bitmapByte, bitOf) & valid & ~shifts;
        // The block starts on a character, and so does every run of starter bytes (the byte before
        // it is a one-byte code or a trail); inside a run, leads and trails alternate. Adding each
        // run's first bit at an odd position clears the runs that begin there, so x keeps exactly the
        // runs that begin at even positions.
        const uint64_t runStarts = starter & ~(starter << 1);
        const uint64_t x = starter + (runStarts & kOddBits);
        const uint64_t leads = starter & ((x & kEvenBits) | (~x & kOddBits));
        const uint64_t second = leads & (shifts << 1);

        // A failure counts at the first byte of its code: a lead, or the shift byte in front of one
        // (also one with no lead after it). An empty cell is a hole (or a code the codec looks up
        // elsewhere).
        const uint64_t firstOk = leads & ~second & inFirst & ~empty;
        const uint64_t secondOk = second & inSecond & ~empty;
        const uint64_t bad =
            (leads & ~second & ~firstOk) | ((second & ~secondOk) >> 1) | (shifts & ~(leads >> 1));

        // Up to the first code left to the codec (always a lead, so no trail is cut from its lead);
        // a lead in the last byte takes the next block's first byte as its trail.
        size_t used = n + (leads >> 63);
        if (bad)
            used = static_cast<size_t>(__builtin_ctzll(bad));
        const uint64_t chars = (bad ? LowBits(used) : valid) & ~(leads << 1) & ~shifts;
        __m512i singles[4];
        if (codes.asciiSelf && !(_mm512_movepi8_mask(b) & valid & ~(starter | shifts))) {
            // Only ASCII among the one-byte codes: the bytes are the units.
            singles[0] = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(b, 0));
            singles[1] = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(b, 1));
            singles[2] = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(b, 2));
            singles[3] = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(b, 3));
        } else {
            const WordTable single(codes.single);
            const __m512i s0 = single.Lookup(_mm512_cvtepu8_epi16(_mm512_castsi512_si256(b)));
            const __m512i s1 = n > 32 ? single.Lookup(_mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(b, 1)))
                                      : _mm512_setzero_si512();
            singles[0] = _mm512_cvtepu16_epi32(_mm512_castsi512_si256(s0));
            singles[1] = _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(s0, 1));
            singles[2] = _mm512_cvtepu16_epi32(_mm512_castsi512_si256(s1));
            singles[3] = _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(s1, 1));
        }
        for (int g = 0; g < 4; ++g) {
            const __mmask16 keep = static_cast<__mmask16>(chars >> (16 * g));
            if (keep == 0)
                continue;
            const __m512i units =
                _mm512_mask_blend_epi32(static_cast<__mmask16>(leads >> (16 * g)), singles[g], cell[g]);
            const unsigned k = static_cast<unsigned>(_mm_popcnt_u32(keep));
            _mm256_mask_storeu_epi16(o, static_cast<__mmask16>((1u << k) - 1),
                                     _mm512_cvtepi32_epi16(_mm512_maskz_compress_epi32(keep, units)));
            o += k;
        }
        i += used;
        if (bad)
            break;
    }
    out = o;
    return i;
}

// The codes of units 16G to 16G + 15 of a round (`half` holds units 32 * (G / 2) on, `blocks` the
// reverse block of every unit, `present` the units there are); returns the units the loop stops at:
// no code, or a surrogate.
template <int G>
ZR_AVX512 inline uint64_t CodesOf(const uint16_t* cells, bool asciiSelf, __m512i half, __m512i blocks,
                                  uint64_t present, __m512i& code) {
    const __mmask16 here = static_cast<__mmask16>(present >> (16 * G));
    if (here == 0) {
        code = _mm512_setzero_si512();
        return 0;
    }
    const __m512i u = _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(half, G & 1));
    const __m512i block = _mm512_cvtepu8_epi32(_mm512_extracti32x4_epi32(blocks, G));
    const __m512i zero = _mm512_setzero_si512();
    const __mmask16 ascii = asciiSelf ? _mm512_cmplt_epu32_mask(u, _mm512_set1_epi32(0x80)) : 0;
    // Block 0 is the empty one and is not read. Every other cell is read with the one before it,
    // which keeps the four-byte loads inside the table at its far end.
    const __mmask16 filled = _mm512_test_epi32_mask(block, block) & here & ~ascii;
    __m512i c = zero;
    if (filled) {
        const __m512i index = _mm512_sub_epi32(
            _mm512_or_si512(_mm512_slli_epi32(block, 8), _mm512_and_si512(u, _mm512_set1_epi32(0xFF))),
            _mm512_set1_epi32(1));
        c = _mm512_srli_epi32(_mm512_mask_i32gather_epi32(zero, filled, index, cells, 2), 16);
    }
    c = _mm512_mask_mov_epi32(c, ascii, u);
    const __mmask16 missing = _mm512_cmpeq_epi32_mask(c, zero) & _mm512_test_epi32_mask(u, u);
    const __mmask16 surrogate =
        _mm512_cmplt_epu32_mask(_mm512_sub_epi32(u, _mm512_set1_epi32(0xD800)), _mm512_set1_epi32(0x800));
    code = c;
    return static_cast<uint64_t>((missing | surrogate) & here) << (16 * G);
}

ZR_AVX512 size_t EncodePairsAvx(const ReverseMap<uint16_t>& reverse, bool asciiSelf, const ZrUniChar* units,
                                size_t i, size_t count, unsigned char* out, size_t& written) {
    const ByteTable blockOf(reverse.blockOf);
    const __m512i lowByte = _mm512_set1_epi32(0xFF);
    // Each unit twice, as the lead byte (shifted down) and the trail byte of its code.
    const __m512i pairsLow = _mm512_set_epi32(7, 7, 6, 6, 5, 5, 4, 4, 3, 3, 2, 2, 1, 1, 0, 0);
    const __m512i pairsHigh = _mm512_set_epi32(15, 15, 14, 14, 13, 13, 12, 12, 11, 11, 10, 10, 9, 9, 8, 8);
    const __m512i leadShift = _mm512_set_epi32(0, 8, 0, 8, 0, 8, 0, 8, 0, 8, 0, 8, 0, 8, 0, 8);
    size_t w = written;
    while (i < count) {
        size_t n = count - i < 64 ? count - i : 64;
        __m512i u0, u1;
        LoadUnits(units + i, n, u0, u1);
        const __m512i blocks = blockOf.Lookup(Narrow(_mm512_srli_epi16(u0, 8), _mm512_srli_epi16(u1, 8)));
        __m512i code[4];
        const uint64_t present = LowBits(n);
        const uint64_t stop = CodesOf<0>(reverse.cells, asciiSelf, u0, blocks, present, code[0]) |
                              CodesOf<1>(reverse.cells, asciiSelf, u0, blocks, present, code[1]) |
                              CodesOf<2>(reverse.cells, asciiSelf, u1, blocks, present, code[2]) |
                              CodesOf<3>(reverse.cells, asciiSelf, u1, blocks, present, code[3]);
        if (stop)
            n = static_cast<size_t>(__builtin_ctzll(stop));
        // Eight units at a time: sixteen byte lanes (lead, trail per unit), leads of one-byte codes and
        // the units past n dropped by a compress.
        for (size_t h = 0; h < 8 && 8 * h < n; ++h) {
            const __m512i pairs = _mm512_permutexvar_epi32(h & 1 ? pairsHigh : pairsLow, code[h / 2]);
            const size_t here = n - 8 * h < 8 ? n - 8 * h : 8;
            const __mmask16 keep = static_cast<__mmask16>(
                (_mm512_cmpgt_epu32_mask(pairs, lowByte) | 0xAAAAu) & ((1u << (2 * here)) - 1));
            const unsigned k = static_cast<unsigned>(_mm_popcnt_u32(keep));
            _mm_mask_storeu_epi8(
                out + w, static_cast<__mmask16>((1u << k) - 1),
                _mm512_cvtepi32_epi8(_mm512_maskz_compress_epi32(keep, _mm512_srlv_epi32(pairs, leadShift))));
            w += k;
        }
        i += n;
        if (stop)
            break;
    }
    written = w;
    return i;
}

} // namespace

size_t DecodePage(const uint16_t* toUnicode, const unsigned char* bytes, size_t i, size_t length,
                  ZrUniChar*& out) {
    return DecodePageAvx(toUnicode, bytes, i, length, out);
}

size_t EncodePage(const ReverseMap<uint8_t>& reverse, const ZrUniChar* units, size_t i, size_t count,
                  unsigned char* out, size_t& written) {
    return EncodePageAvx(reverse, units, i, count, out, written);
}

size_t DecodePairs(const PairCodes& codes, const unsigned char* bytes, size_t i, size_t length,
                   ZrUniChar*& out) {
    return DecodePairsAvx(codes, bytes, i, length, out);
}

size_t EncodePairs(const ReverseMap<uint16_t>& reverse, bool asciiSelf, const ZrUniChar* units, size_t i,
                   size_t count, unsigned char* out, size_t& written) {
    return EncodePairsAvx(reverse, asciiSelf, units, i, count, out, written);
}

#else

// Elsewhere the scalar loops do everything: the vector loops are never enabled and convert nothing.
size_t DecodePage(const uint16_t*, const unsigned char*, size_t i, size_t, ZrUniChar*&) {
    return i;
}
size_t EncodePage(const ReverseMap<uint8_t>&, const ZrUniChar*, size_t i, size_t, unsigned char*, size_t&) {
    return i;
}
size_t DecodePairs(const PairCodes&, const unsigned char*, size_t i, size_t, ZrUniChar*&) {
    return i;
}
size_t EncodePairs(const ReverseMap<uint16_t>&, bool, const ZrUniChar*, size_t i, size_t, unsigned char*,
                   size_t&) {
    return i;
}

#endif

} // namespace zr_codeset::simd
