#include "foundation/codeset/escape.h"

#include "foundation/string/zrhexdigits.h"

namespace zr_codeset {

void AppendEscape(ZrByteBuffer& out, ZrUniChar unit) {
    constexpr const char* kHex = kZrHexDigits;
    unsigned char text[6] = {'\\',
                             'u',
                             static_cast<unsigned char>(kHex[(unit >> 12) & 15]),
                             static_cast<unsigned char>(kHex[(unit >> 8) & 15]),
                             static_cast<unsigned char>(kHex[(unit >> 4) & 15]),
                             static_cast<unsigned char>(kHex[unit & 15])};
    out.Append(text, sizeof text);
}

} // namespace zr_codeset
