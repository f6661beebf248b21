// The shapes of the constant code tables that tools/codeset/gen_tables.py generates into
// foundation/codeset/generated/: all of them are plain arrays in read-only data, built by nobody at
// run time, so an encoding that a process never uses costs it nothing. Look-ups answer 0 for "none".
#pragma once

#include <cstddef>
#include <cstdint>

// The arrays of the tables live in a section of their own, apart from the small constants that code
// reads all the time: the kernel maps file pages around every one it faults in, so a table sharing
// such a neighbourhood with hot data would be resident in every process, used or not.
#define ZR_CODESET_TABLE __attribute__((section("zr_codeset_tables")))

namespace zr_codeset {

// Unicode (BMP) to code, as 256-entry blocks picked by the high byte of the character. Block 0 is
// all zeros and stands for every block that holds nothing, so a miss costs two loads like a hit.
template <class Cell> struct ReverseMap {
    const uint8_t* blockOf; // 256 entries
    const Cell* cells;      // 256 per block

    Cell Find(uint32_t cp) const { return cp > 0xFFFF ? 0 : cells[blockOf[cp >> 8] * 256u + (cp & 0xFF)]; }
};

// A single-byte code page. Byte 00 is U+0000 in every page, so a reverse cell of 0 means "not in the
// page" for every other character.
struct SingleBytePage {
    const uint16_t* toUnicode; // 256 entries, 0xFFFF for a byte the page leaves undefined
    ReverseMap<uint8_t> fromUnicode;
};

// One run of GB18030 four-byte codes (by linear index) that map to consecutive BMP characters.
struct FourByteRange {
    uint32_t linear;
    uint16_t unicode;
    uint16_t length;
};

// A GB18030 two-byte code that stands for a character outside the BMP.
struct WideTwoByteCode {
    uint16_t code;
    uint32_t unicode;
};

// A double-byte character set: a dense grid over the lead and trail byte ranges that the charmap
// uses, plus the reverse map. The reverse cells hold the code as (lead << 8) | trail, or a single
// byte below 0x100; EUC-JP marks its 8F plane by a clear high bit in the trail byte and its
// half-width katakana as 8E xx.
struct CharmapTable {
    uint8_t leadLo, leadHi, trailLo, trailHi;
    const uint16_t* cells;
    const uint16_t* single; // 256 entries: the character of a one-byte code, 0xFFFF for other bytes
    ReverseMap<uint16_t> reverse;
    // GB18030 only: the BMP part of the four-byte area.
    const FourByteRange* ranges;
    const uint16_t* rangesByUnicode; // indices into ranges, ordered by their first character
    uint32_t rangeCount;
    const WideTwoByteCode* wide;
    uint32_t wideCount;

    // The character of a two-byte code, or 0.
    uint32_t Lookup2(unsigned lead, unsigned trail) const {
        if (lead < leadLo || lead > leadHi || trail < trailLo || trail > trailHi)
            return 0;
        uint32_t cp = cells[(lead - leadLo) * (trailHi - trailLo + 1u) + (trail - trailLo)];
        if (cp == 0 && wideCount != 0) {
            for (uint32_t i = 0; i < wideCount; ++i)
                if (wide[i].code == ((lead << 8) | trail))
                    return wide[i].unicode;
        }
        return cp;
    }

    // The BMP character of a GB18030 four-byte code given by its linear index, or 0.
    uint32_t Lookup4(uint32_t linear) const {
        size_t lo = 0, hi = rangeCount;
        while (lo < hi) {
            size_t mid = (lo + hi) / 2;
            if (ranges[mid].linear + ranges[mid].length <= linear)
                lo = mid + 1;
            else
                hi = mid;
        }
        if (lo < rangeCount && ranges[lo].linear <= linear)
            return ranges[lo].unicode + (linear - ranges[lo].linear);
        return 0;
    }

    // The linear four-byte index of a BMP character that has no two-byte code, or ~0u.
    uint32_t Linear4(uint32_t cp) const {
        size_t lo = 0, hi = rangeCount;
        while (lo < hi) {
            size_t mid = (lo + hi) / 2;
            const FourByteRange& r = ranges[rangesByUnicode[mid]];
            if (r.unicode + r.length <= cp)
                lo = mid + 1;
            else
                hi = mid;
        }
        if (lo < rangeCount) {
            const FourByteRange& r = ranges[rangesByUnicode[lo]];
            if (r.unicode <= cp)
                return r.linear + (cp - r.unicode);
        }
        return ~0u;
    }

    // The two-byte code of a character outside the BMP, or 0.
    uint16_t WideCode(uint32_t cp) const {
        for (uint32_t i = 0; i < wideCount; ++i)
            if (wide[i].unicode == cp)
                return wide[i].code;
        return 0;
    }
};

} // namespace zr_codeset
