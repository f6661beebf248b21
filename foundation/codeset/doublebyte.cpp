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

template <const CharmapTable& Table> struct DoubleByteCodec : StatelessCodec {
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

} // namespace

namespace converters {

const ZrConverter kBig5 = Converter<DoubleByteCodec<tables::kBig5>>::Make("BIG5");
const ZrConverter kGb2312 = Converter<DoubleByteCodec<tables::kGb2312>>::Make("GB2312");
const ZrConverter kShiftJis = Converter<DoubleByteCodec<tables::kShiftJis>>::Make("SHIFT_JIS");
const ZrConverter kGb18030 = Converter<Gb18030Codec>::Make("GB18030");

} // namespace converters
} // namespace zr_codeset
