// UTF-8 <-> UTF-16. Strict in both directions: overlong forms, encoded surrogates, values above
// U+10FFFF and unpaired surrogates in the string are errors (recoverable when asked).
#include <cstring>

#include "foundation/codeset/codec.h"
#include "foundation/codeset/escape.h"
#include "foundation/codeset/zrconverter.h"

namespace zr_codeset::utf8 {
namespace {

// Decodes one scalar value at p; returns its byte count, or 0 when the bytes there are not UTF-8.
size_t DecodeOne(const unsigned char* p, size_t left, uint32_t& cp) {
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
size_t EncodeOne(const ZrUniChar* units, size_t count, size_t i, unsigned char* buf, size_t& len) {
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

void Fail(ZrCodesetInfo* info, uint64_t position) {
    if (info) {
        if (info->failures == 0)
            info->errorPosition = position;
        ++info->failures;
    }
}

} // namespace

bool To(const ZrUniChar* units, size_t count, ZrByteBuffer& out, ZrCodesetInfo* info, unsigned options) {
    static const unsigned char kBom[] = {0xEF, 0xBB, 0xBF};
    ByteSink sink(out, count + count / 2);
    if (options & kZrEncOptionAddByteOrderMarker) {
        std::memcpy(sink.Reserve(), kBom, sizeof kBom);
        sink.Commit(sizeof kBom);
    }
    size_t i = 0;
    while (i < count) {
        // Runs of ASCII are copied a unit per byte without the general path.
        if (units[i] < 0x80) {
            i += sink.PutAscii(units + i, count - i);
            continue;
        }
        unsigned char* p = sink.Reserve();
        size_t len = 0;
        size_t used = EncodeOne(units, count, i, p, len);
        if (used == 0) {
            Fail(info, i);
            if (!(options & kZrEncOptionRecoverable))
                return false;
            sink.Flush();
            AppendEscape(out, units[i]);
            ++i;
            continue;
        }
        sink.Commit(len);
        i += used;
    }
    return true;
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
    while (i < length) {
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
