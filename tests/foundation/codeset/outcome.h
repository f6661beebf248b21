// What a caller sees of one conversion, for the codeset tests: the result, the text or bytes, and
// where and how often it failed.
#pragma once

#include <string>
#include <string_view>

#include "foundation/codeset/zrcodesetconverter.h"

namespace codeset_test {

struct Outcome {
    bool ok = false;
    std::u16string text; // decoding
    std::string bytes;   // encoding
    uint64_t errorPosition = 0, failures = 0;
    bool operator==(const Outcome&) const = default;
};

// The converters append: `before` is what the result holds when the conversion starts.
inline Outcome Decode(unsigned id, std::string_view bytes, unsigned options = 0,
                      std::u16string_view before = {}) {
    ZrUniString out(before);
    ZrCodesetInfo info;
    bool ok = ZrCodesetConverter::GetConverter(id).from(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                        bytes.size(), out, &info, options);
    return {ok, std::u16string(out.View()), {}, info.errorPosition, info.failures};
}

inline Outcome Encode(unsigned id, std::u16string_view units, unsigned options = 0,
                      std::string_view before = "") {
    ZrByteBuffer out(before.data(), before.size());
    ZrCodesetInfo info;
    bool ok = ZrCodesetConverter::GetConverter(id).to(units.data(), units.size(), out, &info, options);
    return {ok,
            {},
            std::string(reinterpret_cast<const char*>(out.Data()), out.Length()),
            info.errorPosition,
            info.failures};
}

inline std::u16string Utf16Of(uint32_t cp) {
    if (cp < 0x10000)
        return std::u16string(1, static_cast<char16_t>(cp));
    return {static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)),
            static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF))};
}

inline std::string Hex(std::string_view bytes) {
    std::string text = bytes.empty() ? "(empty)" : "";
    for (unsigned char b : bytes)
        text += {"0123456789ABCDEF"[b >> 4], "0123456789ABCDEF"[b & 15], ' '};
    return text;
}

} // namespace codeset_test
