// EUC-JP (ASCII, JIS X 0208, half-width katakana after 8E, JIS X 0212 after 8F) and ISO-2022-JP
// (7 bits, switching between ASCII, JIS X 0201 Roman and JIS X 0208 by escape sequences). Both use
// the EUC-JP tables; ISO-2022-JP carries the JIS X 0208 codes with their high bits cleared.
#include "foundation/codeset/codec.h"
#include "foundation/codeset/generated/codesettables.h"

namespace zr_codeset {
namespace {

constexpr const CharmapTable& kX0208 = tables::kEucJp;
constexpr const CharmapTable& kX0212 = tables::kEucJpX0212;

// Reverse cells: below 0x100 one byte; 8E xx half-width katakana; trail high bit set JIS X 0208;
// trail high bit clear JIS X 0212 (see CharmapTable).
inline bool IsX0208(uint16_t code) {
    return code >= 0x100 && (code >> 8) != 0x8E && (code & 0x80);
}

struct EucJpCodec : StatelessCodec {
    static int Decode(State&, const unsigned char* p, size_t left, uint32_t& cp) {
        unsigned b = p[0];
        // One-byte codes are the table's: ASCII and the C1 controls 80-8D and 90-9F, which the
        // writer puts out as single bytes and so must read back. 8E and 8F start longer codes.
        cp = kX0208.single[b];
        if (cp != 0xFFFF)
            return 1;
        if (b < 0x80)
            return -1;
        if (b == 0x8E) {
            if (left < 2 || p[1] < 0xA1 || p[1] > 0xDF)
                return -1;
            cp = 0xFF61 + (p[1] - 0xA1);
            return 2;
        }
        if (b == 0x8F) {
            if (left < 3 || p[1] < 0xA1 || p[1] > 0xFE || p[2] < 0xA1 || p[2] > 0xFE)
                return -1;
            cp = kX0212.Lookup2(p[1], p[2]);
            return cp ? 3 : -3;
        }
        if (b < 0xA1 || b > 0xFE || left < 2 || p[1] < 0xA1 || p[1] > 0xFE)
            return -1;
        cp = kX0208.Lookup2(b, p[1]);
        return cp ? 2 : -2;
    }

    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        uint16_t code = kX0208.reverse.Find(cp);
        if (code < 0x100) {
            if (code == 0 && cp != 0)
                return 0;
            out[0] = static_cast<unsigned char>(code);
            return 1;
        }
        if ((code >> 8) == 0x8E || (code & 0x80)) {
            out[0] = static_cast<unsigned char>(code >> 8);
            out[1] = static_cast<unsigned char>(code);
            return 2;
        }
        out[0] = 0x8F;
        out[1] = static_cast<unsigned char>(code >> 8);
        out[2] = static_cast<unsigned char>(code | 0x80);
        return 3;
    }
};

enum class JisMode : unsigned char { kAscii, kRoman, kKanji };

struct Iso2022JpCodec {
    struct State {
        JisMode mode = JisMode::kAscii;
    };

    static int Decode(State& state, const unsigned char* p, size_t left, uint32_t& cp) {
        unsigned b = p[0];
        if (b == 0x1B) {
            if (left < 3)
                return -1;
            if (p[1] == '(' && p[2] == 'B')
                state.mode = JisMode::kAscii;
            else if (p[1] == '(' && p[2] == 'J')
                state.mode = JisMode::kRoman;
            else if (p[1] == '$' && (p[2] == 'B' || p[2] == '@'))
                state.mode = JisMode::kKanji;
            else
                return -1;
            cp = kNoChar;
            return 3;
        }
        if (b >= 0x80)
            return -1;
        // Control characters and space read as themselves in every mode.
        if (state.mode == JisMode::kKanji && b > 0x20 && b < 0x7F) {
            if (left < 2 || p[1] <= 0x20 || p[1] >= 0x7F)
                return -1;
            cp = kX0208.Lookup2(b | 0x80, p[1] | 0x80);
            return cp ? 2 : -2;
        }
        cp = b;
        if (state.mode == JisMode::kRoman && b == 0x5C)
            cp = 0xA5;
        else if (state.mode == JisMode::kRoman && b == 0x7E)
            cp = 0x203E;
        return 1;
    }

    static size_t Switch(State& state, JisMode mode, unsigned char* out) {
        if (state.mode == mode)
            return 0;
        state.mode = mode;
        out[0] = 0x1B;
        out[1] = mode == JisMode::kKanji ? '$' : '(';
        out[2] = mode == JisMode::kKanji ? 'B' : mode == JisMode::kRoman ? 'J' : 'B';
        return 3;
    }

    static size_t Encode(State& state, uint32_t cp, unsigned char* out) {
        if (cp < 0x80) {
            // JIS X 0201 Roman differs from ASCII only at 5C and 7E, so other ASCII stays in it.
            size_t n = 0;
            if (state.mode == JisMode::kKanji ||
                (state.mode == JisMode::kRoman && (cp == 0x5C || cp == 0x7E)))
                n = Switch(state, JisMode::kAscii, out);
            out[n] = static_cast<unsigned char>(cp);
            return n + 1;
        }
        if (cp == 0xA5 || cp == 0x203E) {
            size_t n = Switch(state, JisMode::kRoman, out);
            out[n] = cp == 0xA5 ? 0x5C : 0x7E;
            return n + 1;
        }
        uint16_t code = kX0208.reverse.Find(cp);
        if (!IsX0208(code))
            return 0;
        size_t n = Switch(state, JisMode::kKanji, out);
        out[n] = static_cast<unsigned char>((code >> 8) & 0x7F);
        out[n + 1] = static_cast<unsigned char>(code & 0x7F);
        return n + 2;
    }

    // Text always ends in ASCII.
    static size_t Finish(State& state, unsigned char* out) { return Switch(state, JisMode::kAscii, out); }
    static size_t Bom(unsigned char*) { return 0; }
    static size_t SkipBom(State&, const unsigned char*, size_t) { return 0; }
};

} // namespace

namespace converters {

const ZrConverter kEucJp = Converter<EucJpCodec>::Make("EUC-JP");
const ZrConverter kIso2022Jp = Converter<Iso2022JpCodec>::Make("ISO-2022-JP");

} // namespace converters
} // namespace zr_codeset
