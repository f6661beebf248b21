// UTF-16 in big-endian, little-endian and machine order. Surrogates must pair up in both directions.
// A leading byte order mark in the converter's own order is a mark, not text, and is dropped; the
// machine-order converter also accepts the swapped mark and then reads the rest swapped.
#include <bit>

#include "foundation/codeset/codec.h"

namespace zr_codeset {
namespace {

inline uint32_t Read16(const unsigned char* p, bool big) {
    return big ? (p[0] << 8) | p[1] : (p[1] << 8) | p[0];
}

inline void Write16(uint32_t u, bool big, unsigned char* out) {
    out[big ? 0 : 1] = static_cast<unsigned char>(u >> 8);
    out[big ? 1 : 0] = static_cast<unsigned char>(u);
}

constexpr bool kMachineBig = std::endian::native == std::endian::big;

// Big: the byte order; Detect: whether a swapped mark at the start switches the order.
template <bool Big, bool Detect> struct Utf16Codec {
    struct State {
        bool big = Big;
    };

    static int Decode(State& state, const unsigned char* p, size_t left, uint32_t& cp) {
        if (left < 2)
            return -1;
        uint32_t u = Read16(p, state.big);
        if (u < 0xD800 || u > 0xDFFF) {
            cp = u;
            return 2;
        }
        if (u > 0xDBFF || left < 4)
            return -2;
        uint32_t v = Read16(p + 2, state.big);
        if (v < 0xDC00 || v > 0xDFFF)
            return -2;
        cp = 0x10000 + ((u - 0xD800) << 10) + (v - 0xDC00);
        return 4;
    }

    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        if (cp < 0x10000) {
            Write16(cp, Big, out);
            return 2;
        }
        cp -= 0x10000;
        Write16(0xD800 + (cp >> 10), Big, out);
        Write16(0xDC00 + (cp & 0x3FF), Big, out + 2);
        return 4;
    }

    static size_t Finish(State&, unsigned char*) { return 0; }
    static size_t Bom(unsigned char* out) {
        Write16(0xFEFF, Big, out);
        return 2;
    }
    static size_t SkipBom(State& state, const unsigned char* p, size_t length) {
        if (length < 2)
            return 0;
        if (Read16(p, Big) == 0xFEFF)
            return 2;
        if (Detect && Read16(p, Big) == 0xFFFE) {
            state.big = !Big;
            return 2;
        }
        return 0;
    }
};

} // namespace

namespace converters {

const ZrConverter kUnicodeMsb = Converter<Utf16Codec<true, false>>::Make("UNICODE MSB");
const ZrConverter kUnicodeLsb = Converter<Utf16Codec<false, false>>::Make("UNICODE LSB");
const ZrConverter kUnicodeLocal = Converter<Utf16Codec<kMachineBig, true>>::Make("UNICODE LOCAL");

} // namespace converters
} // namespace zr_codeset
