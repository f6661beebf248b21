// Big5, GB2312 (EUC-CN), Shift-JIS and GB18030: one-byte codes from the table's single-byte column,
// two-byte codes from its grid, and for GB18030 the four-byte codes (BMP ranges from the table, the
// planes beyond the BMP by arithmetic).
#include "foundation/codeset/codec.h"
#include "foundation/codeset/generated/codesettables.h"

namespace zr_codeset {
namespace {

inline size_t PutCode(uint16_t code, unsigned char* out) {
    if (code < 0x100) {
        out[0] = static_cast<unsigned char>(code);
        return 1;
    }
    out[0] = static_cast<unsigned char>(code >> 8);
    out[1] = static_cast<unsigned char>(code);
    return 2;
}

// Whether the one-byte codes 00-7F of a table are ASCII both ways (Shift-JIS puts the yen sign and
// the overline at 5C and 7E).
inline bool TableKeepsAscii(const CharmapTable& table) {
    for (unsigned b = 0; b < 0x80; ++b)
        if (table.single[b] != b || table.reverse.Find(b) != b)
            return false;
    return true;
}

// The grid of a table, read into locals once per conversion.
struct Grid {
    const uint16_t* cells;
    unsigned leadLo, leadSpan, trailLo, trailSpan, width;

    explicit Grid(const CharmapTable& t)
        : cells(t.cells), leadLo(t.leadLo), leadSpan(t.leadHi - t.leadLo), trailLo(t.trailLo),
          trailSpan(t.trailHi - t.trailLo), width(t.trailHi - t.trailLo + 1u) {}

    // The character of the two-byte code, 0 for none; no branch on the byte ranges.
    uint32_t At(unsigned lead, unsigned trail) const {
        unsigned l = lead - leadLo, t = trail - trailLo;
        // All ones inside the grid; outside, cell 0 is read and masked away. Masks rather than
        // conditions, which the compiler turns into branches that mispredict on mixed text.
        uint32_t in = 0u - ((l <= leadSpan) & (t <= trailSpan));
        return cells[(l * width + t) & in] & in;
    }
};

template <const CharmapTable& Table> struct DoubleByteCodec : StatelessCodec {
    static constexpr const CharmapTable& kTable = Table;
    static uint32_t Quick(const Grid& grid, const uint16_t* single, const unsigned char* p, unsigned& n) {
        uint32_t one = single[p[0]];
        uint32_t two = grid.At(p[0], p[1]);
        uint32_t isOne = one != 0xFFFF;
        n = 2 - isOne;
        return (one & (0u - isOne)) | (two & (isOne - 1));
    }
    static uint32_t QuickCode(const ReverseMap<uint16_t>& reverse, uint32_t u) {
        return reverse.cells[reverse.blockOf[u >> 8] * 256u + (u & 0xFF)];
    }
    static bool AsciiSame() {
        static const bool same = TableKeepsAscii(Table);
        return same;
    }
    static int Decode(State&, const unsigned char* p, size_t left, uint32_t& cp) {
        unsigned b = p[0];
        cp = Table.single[b];
        if (cp != 0xFFFF)
            return 1;
        if (b < Table.leadLo || b > Table.leadHi || left < 2 || p[1] < Table.trailLo || p[1] > Table.trailHi)
            return -1;
        cp = Table.Lookup2(b, p[1]);
        return cp ? 2 : -2;
    }
    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        uint16_t code = Table.reverse.Find(cp);
        if (code == 0 && cp != 0)
            return 0;
        return PutCode(code, out);
    }
};

// Four-byte codes count from 81 30 81 30 in mixed radix 126/10/126/10; U+10000 sits at index 189000.
constexpr uint32_t kGbSupplementaryBase = 189000;

inline size_t PutLinear(uint32_t linear, unsigned char* out) {
    out[3] = static_cast<unsigned char>(0x30 + linear % 10);
    linear /= 10;
    out[2] = static_cast<unsigned char>(0x81 + linear % 126);
    linear /= 126;
    out[1] = static_cast<unsigned char>(0x30 + linear % 10);
    out[0] = static_cast<unsigned char>(0x81 + linear / 10);
    return 4;
}

struct Gb18030Codec : StatelessCodec {
    static constexpr const CharmapTable& T = tables::kGb18030;
    static constexpr const CharmapTable& kTable = T;
    // 7F is no trail byte here although it lies inside the grid.
    static uint32_t Quick(const Grid& grid, const uint16_t*, const unsigned char* p, unsigned& n) {
        uint32_t b = p[0];
        uint32_t two = grid.At(b, p[1]) & (0u - (p[1] != 0x7F));
        uint32_t isOne = b < 0x80;
        n = 2 - isOne;
        return (b & (0u - isOne)) | (two & (isOne - 1));
    }
    static uint32_t QuickCode(const ReverseMap<uint16_t>& reverse, uint32_t u) {
        uint32_t code = reverse.cells[reverse.blockOf[u >> 8] * 256u + (u & 0xFF)];
        return u < 0x80 ? u : code;
    }
    static bool AsciiSame() { return true; }

    static int Decode(State&, const unsigned char* p, size_t left, uint32_t& cp) {
        unsigned b = p[0];
        if (b < 0x80) {
            cp = b;
            return 1;
        }
        if (b == 0x80 || b == 0xFF || left < 2)
            return -1;
        unsigned t = p[1];
        if (t >= 0x30 && t <= 0x39) {
            if (left < 4 || p[2] < 0x81 || p[2] > 0xFE || p[3] < 0x30 || p[3] > 0x39)
                return -1;
            uint32_t linear = (((b - 0x81) * 10 + (t - 0x30)) * 126 + (p[2] - 0x81)) * 10 + (p[3] - 0x30);
            if (b <= 0x84) {
                cp = T.Lookup4(linear);
                return cp ? 4 : -4;
            }
            if (linear >= kGbSupplementaryBase && linear - kGbSupplementaryBase <= 0xFFFFF) {
                cp = 0x10000 + (linear - kGbSupplementaryBase);
                return 4;
            }
            return -4;
        }
        if (t < 0x40 || t == 0x7F || t == 0xFF)
            return -1;
        cp = T.Lookup2(b, t);
        return cp ? 2 : -2;
    }

    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        if (cp < 0x80) {
            out[0] = static_cast<unsigned char>(cp);
            return 1;
        }
        if (cp > 0xFFFF) {
            if (uint16_t code = T.WideCode(cp))
                return PutCode(code, out);
            return PutLinear(kGbSupplementaryBase + (cp - 0x10000), out);
        }
        if (uint16_t code = T.reverse.Find(cp))
            return PutCode(code, out);
        uint32_t linear = T.Linear4(cp);
        return linear == ~0u ? 0 : PutLinear(linear, out);
    }
};

// Faster loops over the common case of a table-driven double-byte encoding: one- and two-byte codes
// the table holds are converted in place, with no per-character call and no branch on the code
// length (text mixes the two at random). Anything else (malformed or unmapped input, surrogate
// pairs, GB18030 four-byte codes) goes through the codec one character at a time exactly as
// Converter<Codec> does, so failure positions and recovery are the same.
//   Codec::Quick(const Grid&, const uint16_t* single, const unsigned char* p, unsigned& n): the
//       character of a one- or two-byte code at p (two bytes readable), n its length, 0 for "ask the
//       codec".
//   Codec::QuickCode(reverse, u): the code of the unit (0 for U+0000 and for "ask the codec").
template <class Codec> struct QuickConverter {
    using Slow = Converter<Codec>;

    static bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
                     unsigned options) {
        typename Codec::State state{};
        if (!UnitSink::Fits(out.Length(), length)) {
            NoteFailure(info, 0);
            return false;
        }
        const Grid grid(Codec::kTable);
        const uint16_t* single = Codec::kTable.single;
        UnitSink sink(out, length);
        const bool recover = options & kZrEncOptionRecoverable;
        size_t i = 0;
        while (i < length) {
            ZrUniChar* o = sink.Cursor();
            while (i + 2 <= length) {
                unsigned n;
                uint32_t cp = Codec::Quick(grid, single, bytes + i, n);
                if (cp == 0)
                    break;
                *o++ = static_cast<ZrUniChar>(cp);
                i += n;
            }
            sink.Cursor() = o;
            if (i >= length)
                break;
            uint32_t cp;
            int n = Codec::Decode(state, bytes + i, length - i, cp);
            if (n > 0) {
                sink.Put(cp);
                i += static_cast<size_t>(n);
                continue;
            }
            NoteFailure(info, i);
            if (!recover)
                return false;
            sink.Put(kReplacementChar);
            i += static_cast<size_t>(-n);
        }
        return true;
    }

    // Writes straight into the buffer, sized for two bytes a unit; a character that needs the codec
    // (or a recovery escape) is written through the general loop, a character at a time.
    static bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info,
                   unsigned options) {
        const ReverseMap<uint16_t> reverse = Codec::kTable.reverse;
        size_t i = 0;
        while (i < count) {
            uint64_t base = out.Length();
            out.SetLength(base + 2 * (count - i));
            unsigned char* p = out.MutableData() + base;
            size_t w = 0;
            for (; i < count; ++i) {
                uint32_t u = units[i];
                uint32_t code = Codec::QuickCode(reverse, u);
                if ((code == 0 && u != 0) | (u - 0xD800u < 0x800u))
                    break;
                bool two = code > 0xFF;
                p[w] = static_cast<unsigned char>(two ? code >> 8 : code);
                p[w + 1] = static_cast<unsigned char>(code);
                w += 1 + two;
            }
            out.SetLength(base + w);
            if (i >= count)
                break;
            // One character (a pair counts as one) through the general loop; its failure, if any,
            // is at i.
            size_t used = units[i] - 0xD800u < 0x400u && i + 1 < count ? 2 : 1;
            ZrCodesetInfo one;
            bool ok = Slow::To(units + i, used, out, &one, options);
            if (one.failures) {
                NoteFailure(info, i);
                if (info)
                    info->failures += one.failures - 1;
            }
            if (!ok)
                return false;
            i += used;
        }
        return true;
    }

    static constexpr ZrConverter Make(const char* name) {
        return {To, From, Slow::ValidateTo, Slow::ValidateFrom, name};
    }
};

} // namespace

namespace converters {

const ZrConverter kBig5 = QuickConverter<DoubleByteCodec<tables::kBig5>>::Make("BIG5");
const ZrConverter kGb2312 = QuickConverter<DoubleByteCodec<tables::kGb2312>>::Make("GB2312");
const ZrConverter kShiftJis = QuickConverter<DoubleByteCodec<tables::kShiftJis>>::Make("SHIFT_JIS");
const ZrConverter kGb18030 = QuickConverter<Gb18030Codec>::Make("GB18030");

} // namespace converters
} // namespace zr_codeset
