// Vector loops for the table-driven encodings (single-byte pages and charmaps of one- and two-byte
// codes), taken when the processor has AVX-512 (checked once). Each loop converts up to the first
// byte or unit it leaves to the codec and says where that is; none of them fails, allocates or touches
// memory outside the ranges it is given. The converters built on them here give the same results as
// the scalar loops of codec.h in every case.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/codeset/charmaptable.h"
#include "foundation/codeset/codec.h"
#include "foundation/codeset/simd/vector_switch.h"

namespace zr_codeset::simd {

// One- and two-byte codes as the vector decoder reads them: `single` holds the unit of every byte
// that is a character by itself and 0xFFFF for every other byte (a lead, or no code at all). A byte
// marked 0xFFFF starts a two-byte code whatever follows, which is what makes the character bounds
// of a block computable from the bytes alone.
struct PairCodes {
    const uint16_t* single; // 256 entries
    const uint16_t* cells;  // the grid, (lead - leadLo) * (trailHi - trailLo + 1) + (trail - trailLo)
    uint8_t leadLo, leadHi, trailLo, trailHi;
    bool trail7F; // whether 7F counts as a trail byte when it lies inside the grid's trail range
    // EUC-JP: a byte (a starter) whose code is the pair after it in a second grid, or no shiftCells.
    const uint16_t* shiftCells;
    uint8_t shift, shiftLeadLo, shiftLeadHi, shiftTrailLo, shiftTrailHi;
    // Derived from `single` by Prepare: a bit per byte that is marked 0xFFFF (the rest of the 64 bytes
    // zero), and whether bytes 00-7F are the units 0000-007F.
    uint8_t starters[64];
    bool asciiSelf;
};

// Fills in the derived fields.
inline PairCodes Prepare(PairCodes codes) {
    for (unsigned b = 0; b < 64; ++b)
        codes.starters[b] = 0;
    codes.asciiSelf = true;
    for (unsigned b = 0; b < 256; ++b) {
        if (codes.single[b] == 0xFFFF)
            codes.starters[b >> 3] = static_cast<uint8_t>(codes.starters[b >> 3] | 1u << (b & 7));
        if (b < 0x80 && codes.single[b] != b)
            codes.asciiSelf = false;
    }
    return codes;
}

// Bytes [i, length) of a page to units at `out` (advanced), up to the first byte the page leaves
// undefined; returns its position (length when there is none).
size_t DecodePage(const uint16_t* toUnicode, const unsigned char* bytes, size_t i, size_t length,
                  ZrUniChar*& out);

// Units [i, count) to a page's bytes at out + written (advanced), up to the first unit that is above
// U+00FF or not in the page; returns its index.
size_t EncodePage(const ReverseMap<uint8_t>& reverse, const ZrUniChar* units, size_t i, size_t count,
                  unsigned char* out, size_t& written);

// Bytes [i, length), starting on a character, to units at `out` (advanced), up to the first code that
// is not a one-byte code or a two-byte code of the grid (malformed, a hole, a longer code, cut off by
// the end); returns its position, which is on a character.
size_t DecodePairs(const PairCodes& codes, const unsigned char* bytes, size_t i, size_t length,
                   ZrUniChar*& out);

// Units [i, count) to one- and two-byte codes at out + written (advanced), up to the first unit whose
// reverse cell is empty (or that is a surrogate); returns its index. With `asciiSelf` the units below
// 0x80 are their own codes whatever the table says. Needs room for two bytes a unit.
size_t EncodePairs(const ReverseMap<uint16_t>& reverse, bool asciiSelf, const ZrUniChar* units, size_t i,
                   size_t count, unsigned char* out, size_t& written);

// After the vector loop stops, the codec converts this much by itself before the vector loop is tried
// again, so that text full of what the vector loop leaves alone does not bounce between the two.
constexpr size_t kScalarStretch = 32;

// Decoding through DecodePairs, with the codec for whatever it leaves (exactly as the general loop
// handles it: same failures, positions and recovery). Codecs without state and byte order marks.
template <class Codec>
bool DecodeByBlocks(const PairCodes& codes, const unsigned char* bytes, size_t length, ZrUniString& out,
                    ZrCodesetInfo* info, unsigned options) {
    typename Codec::State state{};
    if (!UnitSink::Fits(out.Length(), length)) {
        NoteFailure(info, 0);
        return false;
    }
    UnitSink sink(out, length);
    const bool recover = options & kZrEncOptionRecoverable;
    size_t i = 0;
    while (i < length) {
        ZrUniChar* o = sink.Cursor();
        i = DecodePairs(codes, bytes, i, length, o);
        sink.Cursor() = o;
        const size_t stop = length - i > kScalarStretch ? i + kScalarStretch : length;
        while (i < stop)
            if (!DecodeStep<Codec>(state, bytes, length, i, sink, info, recover))
                return false;
    }
    return true;
}

// Encoding through EncodePairs, with the codec for whatever it leaves, as QuickConverter does it.
template <class Codec>
bool EncodeByBlocks(bool asciiSelf, const ZrUniChar* units, size_t count, ZrByteBuffer& out,
                    ZrCodesetInfo* info, unsigned options) {
    typename Codec::State state{};
    const ReverseMap<uint16_t> reverse = Codec::kTable.reverse;
    DirectBytes direct(out, count, 2);
    size_t i = 0;
    while (i < count) {
        i = EncodePairs(reverse, asciiSelf, units, i, count, direct.Data(), direct.Written());
        const size_t stop = count - i > kScalarStretch ? i + kScalarStretch : count;
        while (i < stop) {
            size_t used;
            uint32_t cp = ReadScalar(units, count, i, used);
            unsigned char bytes[16];
            size_t n = cp == kNoChar ? 0 : Codec::Encode(state, cp, bytes);
            if (n != 0) {
                direct.Put(bytes, n, count - i - used);
            } else {
                NoteFailure(info, i);
                if (!(options & kZrEncOptionRecoverable))
                    return false;
                ZrByteBuffer escape;
                Converter<Codec>::To(units + i, used, escape, nullptr, kZrEncOptionRecoverable);
                direct.Put(escape.Data(), escape.Length(), count - i - used);
            }
            i += used;
        }
    }
    return true;
}

} // namespace zr_codeset::simd
