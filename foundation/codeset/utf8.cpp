// UTF-8 <-> UTF-16. Strict in both directions: overlong forms, encoded surrogates, values above
// U+10FFFF and unpaired surrogates in the string are errors (recoverable when asked).
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "foundation/codeset/codec.h"
#include "foundation/codeset/escape.h"
#include "foundation/codeset/simd/utf8.h"
#include "foundation/codeset/simd/vector_switch.h"
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

// Encodes the scalar value at units[i] (a pair counts as one); returns units consumed, 0 when unpaired.
ZR_CODESET_HOT size_t EncodeOne(const ZrUniChar* units, size_t count, size_t i, unsigned char* buf,
                                size_t& len) {
    uint32_t cp = units[i];
    size_t used = 1;
    if (cp >= 0xD800 && cp <= 0xDBFF) {
        if (i + 1 >= count || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF)
            return 0;
        cp = 0x10000 + ((cp - 0xD800) << 10) + (units[i + 1] - 0xDC00);
        used = 2;
    } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
        return 0;
    }
    if (cp < 0x80) {
        buf[0] = static_cast<unsigned char>(cp);
        len = 1;
    } else if (cp < 0x800) {
        buf[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
        buf[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        len = 2;
    } else if (cp < 0x10000) {
        buf[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
        buf[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        buf[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        len = 3;
    } else {
        buf[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
        buf[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
        buf[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        buf[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        len = 4;
    }
    return used;
}

ZR_CODESET_HOT void Fail(ZrCodesetInfo* info, uint64_t position) {
    if (info) {
        if (info->failures == 0)
            info->errorPosition = position;
        ++info->failures;
    }
}

// Sequence length by lead byte: 0 for a byte that starts no sequence (continuation bytes, C0/C1 which
// only start overlong forms, F5-FF which only start values above U+10FFFF).
constexpr auto kLength = [] {
    struct {
        uint8_t n[256];
    } t{};
    for (unsigned b = 0; b < 256; ++b)
        t.n[b] = b < 0x80 ? 1 : b < 0xC2 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF5 ? 4 : 0;
    return t;
}();

// By sequence length: the continuation bytes needed (bit k for byte k + 1), the least value that is
// not an overlong form.
constexpr uint32_t kNeed[5] = {0, 0, 1, 3, 7};
constexpr uint32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};

// Copies 16 ASCII bytes as units when all of them are ASCII.
inline bool CopyAscii16(const unsigned char* p, ZrUniChar* out) {
#if defined(__SSE2__)
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    if (_mm_movemask_epi8(v) != 0)
        return false;
    __m128i zero = _mm_setzero_si128();
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(v, zero));
    return true;
#else
    uint64_t a, b;
    std::memcpy(&a, p, 8);
    std::memcpy(&b, p + 8, 8);
    if ((a | b) & 0x8080808080808080ull)
        return false;
    for (size_t k = 0; k < 16; ++k)
        out[k] = p[k];
    return true;
#endif
}

// Decodes whole characters while at least four bytes are left, without a branch on the kind of
// character (text often changes kind at every character, so such a branch would mostly mispredict):
// every length is computed and the right one selected, and a character always stores two units
// (the second is overwritten unless it was a pair). Stops at the first byte that needs a closer look
// (malformed, or fewer than four bytes left); returns the position reached.
ZR_CODESET_HOT size_t DecodeRun(const unsigned char* bytes, size_t i, size_t length, ZrUniChar*& cursor) {
    ZrUniChar* out = cursor;
    while (i + 4 <= length) {
        const unsigned char* p = bytes + i;
        if (i + 16 <= length && CopyAscii16(p, out)) {
            i += 16, out += 16;
            continue;
        }
        uint32_t b0 = p[0], b1 = p[1], b2 = p[2], b3 = p[3];
        uint32_t n = kLength.n[b0];
        uint32_t cp2 = ((b0 & 0x1F) << 6) | (b1 & 0x3F);
        uint32_t cp3 = ((b0 & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F);
        uint32_t cp4 = ((b0 & 0x07) << 18) | ((b1 & 0x3F) << 12) | ((b2 & 0x3F) << 6) | (b3 & 0x3F);
        // Picked by index rather than by comparisons, which the compiler would turn into branches.
        const uint32_t candidates[5] = {0, b0, cp2, cp3, cp4};
        uint32_t cp = candidates[n];
        // Continuation bytes present as needed, then the values the lead byte alone does not rule out:
        // overlong three- and four-byte forms, surrogates, beyond U+10FFFF.
        uint32_t cont = ((b1 & 0xC0) == 0x80) | (((b2 & 0xC0) == 0x80) << 1) | (((b3 & 0xC0) == 0x80) << 2);
        uint32_t need = kNeed[n];
        bool ok = ((cont & need) == need) & (cp >= kMin[n]) & (cp <= 0x10FFFF) & ((cp & 0x1FF800) != 0xD800) &
                  (n != 0);
        if (!ok)
            break;
        bool pair = cp >= 0x10000;
        uint32_t v = cp - 0x10000;
        out[0] = static_cast<ZrUniChar>(pair ? 0xD800 + (v >> 10) : cp);
        out[1] = static_cast<ZrUniChar>(0xDC00 + (v & 0x3FF));
        out += 1 + pair;
        i += n;
    }
    cursor = out;
    return i;
}

} // namespace

namespace {

// Writes 16 units below 0x80 as bytes when all of them are.
inline bool PutAscii16(const ZrUniChar* units, unsigned char* out) {
#if defined(__SSE2__)
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + 8));
    __m128i high = _mm_and_si128(_mm_or_si128(a, b), _mm_set1_epi16(static_cast<short>(0xFF80)));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) != 0xFFFF)
        return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(a, b));
    return true;
#else
    for (size_t k = 0; k < 16; ++k)
        if (units[k] >= 0x80)
            return false;
    for (size_t k = 0; k < 16; ++k)
        out[k] = static_cast<unsigned char>(units[k]);
    return true;
#endif
}

} // namespace

// Straight into the buffer, sized once for three bytes a unit: each character below U+10000 is
// written as three bytes of which one, two or all count (masks pick them, so mixed text costs no
// mispredicted branches). Surrogates go through the general loop a character at a time.
bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info, unsigned options) {
    static const unsigned char kBom[] = {0xEF, 0xBB, 0xBF};
    if (options & kZrEncOptionAddByteOrderMarker)
        out.Append(kBom, sizeof kBom);
    DirectBytes direct(out, count, 3);
    const bool blocks = simd::Enabled();
    size_t i = 0;
    while (true) {
        unsigned char* p = direct.Data();
        size_t w = direct.Written();
        if (blocks)
            i = EncodeBlocks(units, i, count, p, w);
        while (i < count) {
            if (i + 16 <= count && PutAscii16(units + i, p + w)) {
                i += 16, w += 16;
                continue;
            }
            uint32_t u = units[i];
            if (u - 0xD800u < 0x800u)
                break;
            uint32_t two = 0u - (u >= 0x80), three = 0u - (u >= 0x800);
            uint32_t last = 0x80 | (u & 0x3F), mid = 0x80 | ((u >> 6) & 0x3F);
            uint32_t lead = (u & ~two) | ((0xC0 | (u >> 6)) & two & ~three) | ((0xE0 | (u >> 12)) & three);
            p[w] = static_cast<unsigned char>(lead);
            p[w + 1] = static_cast<unsigned char>((mid & three) | (last & ~three));
            p[w + 2] = static_cast<unsigned char>(last);
            w += 1 - two - three;
            ++i;
        }
        direct.Written() = w;
        if (i >= count)
            return true;
        unsigned char bytes[4];
        size_t len = 0;
        size_t used = EncodeOne(units, count, i, bytes, len);
        if (used != 0) {
            direct.Put(bytes, len, count - i - used);
            i += used;
            continue;
        }
        Fail(info, i);
        if (!(options & kZrEncOptionRecoverable))
            return false;
        ZrByteBuffer escape;
        AppendEscape(escape, units[i]);
        direct.Put(escape.Data(), escape.Length(), count - i - 1);
        ++i;
    }
}

bool From(const unsigned char* bytes, size_t length, ZrUniString& out, ZrCodesetInfo* info,
          unsigned options) {
    size_t i = 0;
    // Skip a leading byte order mark.
    if (length >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF)
        i = 3;
    if (!UnitSink::Fits(out.Length(), length)) {
        Fail(info, 0);
        return false;
    }
    UnitSink sink(out, length - i);
    const bool blocks = simd::Enabled();
    while (i < length) {
        i = blocks ? DecodeBlocks(bytes, i, length, sink.Cursor())
                   : DecodeRun(bytes, i, length, sink.Cursor());
        if (i >= length)
            break;
        if (bytes[i] < 0x80) {
            i += sink.PutAscii(bytes + i, length - i);
            continue;
        }
        uint32_t cp;
        size_t n = DecodeOne(bytes + i, length - i, cp);
        if (n == 0) {
            Fail(info, i);
            if (!(options & kZrEncOptionRecoverable))
                return false;
            sink.Put(kReplacementChar);
            ++i;
            continue;
        }
        sink.Put(cp);
        i += n;
    }
    return true;
}

bool ValidateTo(const ZrUniChar* units, size_t count, ZrCodesetInfo* info, unsigned) {
    for (size_t i = 0; i < count;) {
        unsigned char buf[4];
        size_t len;
        size_t used = EncodeOne(units, count, i, buf, len);
        if (used == 0) {
            Fail(info, i);
            return false;
        }
        i += used;
    }
    return true;
}

bool ValidateFrom(const unsigned char* bytes, size_t length, ZrCodesetInfo* info, unsigned) {
    for (size_t i = 0; i < length;) {
        uint32_t cp;
        size_t n = DecodeOne(bytes + i, length - i, cp);
        if (n == 0) {
            Fail(info, i);
            return false;
        }
        i += n;
    }
    return true;
}

} // namespace zr_codeset::utf8

namespace zr_codeset::converters {
const ZrConverter kUtf8 = {utf8::To, utf8::From, utf8::ValidateTo, utf8::ValidateFrom, "UTF-8"};
} // namespace zr_codeset::converters
