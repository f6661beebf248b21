// UTF-8 <-> UTF-16. Strict in both directions: overlong forms, encoded surrogates, values above
// U+10FFFF and unpaired surrogates in the string are errors (recoverable when asked).
#include "foundation/codeset/codec.h"
#include "foundation/codeset/zrconverter.h"

namespace zr_codeset::utf8 {
namespace {

// Decodes one scalar value at p; returns its byte count, or 0 when the bytes there are not UTF-8.
ZR_CODESET_HOT size_t DecodeOne(const unsigned char* p, size_t left, uint32_t& cp) {
    unsigned char b = p[0];
    if (b < 0x80) {
        cp = b;
        return 1;
    }
    size_t n;
    uint32_t min;
    if ((b & 0xE0) == 0xC0) {
        n = 2, cp = b & 0x1F, min = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
        n = 3, cp = b & 0x0F, min = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
        n = 4, cp = b & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (left < n)
        return 0;
    for (size_t i = 1; i < n; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return 0;
    return n;
}

struct Utf8Codec : StatelessCodec {
    // A malformed sequence counts its first byte only: the byte after it is read again.
    static int Decode(State&, const unsigned char* p, size_t left, uint32_t& cp) {
        size_t n = DecodeOne(p, left, cp);
        return n ? static_cast<int>(n) : -1;
    }
    static size_t Encode(State&, uint32_t cp, unsigned char* out) {
        if (cp < 0x80) {
            out[0] = static_cast<unsigned char>(cp);
            return 1;
        }
        if (cp < 0x800) {
            out[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
            out[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
            return 2;
        }
        if (cp < 0x10000) {
            out[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
            out[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
            out[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
            return 3;
        }
        out[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
        out[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        out[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 4;
    }
    static size_t Bom(unsigned char* out) {
        out[0] = 0xEF, out[1] = 0xBB, out[2] = 0xBF;
        return 3;
    }
    static size_t SkipBom(State&, const unsigned char* p, size_t length) {
        return length >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF ? 3 : 0;
    }
};

using Utf8 = Converter<Utf8Codec>;

} // namespace

bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info, unsigned options) {
    return Utf8::To(units, count, out, info, options);
}

bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
          unsigned options) {
    return Utf8::From(bytes, length, out, info, options);
}

bool ValidateTo(const ZrUniChar* units, size_t count, ZrCodesetInfo* info, unsigned options) {
    return Utf8::ValidateTo(units, count, info, options);
}

bool ValidateFrom(const unsigned char* bytes, size_t length, ZrCodesetInfo* info, unsigned options) {
    return Utf8::ValidateFrom(bytes, length, info, options);
}

} // namespace zr_codeset::utf8

namespace zr_codeset::converters {
const ZrConverter kUtf8 = {utf8::To, utf8::From, utf8::ValidateTo, utf8::ValidateFrom, "UTF-8"};
} // namespace zr_codeset::converters
