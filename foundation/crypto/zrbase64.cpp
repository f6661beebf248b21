#include "foundation/crypto/zrbase64.h"

#include <cstring>

namespace {

constexpr unsigned char kNotADigit = 0xFF;

bool UsableAlphabet(const char* alphabet) {
    return alphabet != nullptr && std::strlen(alphabet) >= 65;
}

} // namespace

ZrByteBuffer ZrBase64::FromEnc(const ZrByteBuffer& text, const char* alphabet) {
    ZrByteBuffer out;
    if (!UsableAlphabet(alphabet) || text.IsEmpty())
        return out;
    unsigned char value[256];
    std::memset(value, kNotADigit, sizeof(value));
    for (unsigned i = 0; i < 64; ++i)
        value[static_cast<unsigned char>(alphabet[i])] = static_cast<unsigned char>(i);
    const auto pad = static_cast<unsigned char>(alphabet[64]);

    const uint64_t length = text.Length();
    out.SetLength(length / 4 * 3 + 3);
    unsigned char* dest = out.MutableData();
    const unsigned char* src = text.Data();
    uint64_t written = 0;
    uint32_t bits = 0;
    unsigned pending = 0; // bits in `bits` not yet written out
    for (uint64_t i = 0; i < length; ++i) {
        unsigned char c = src[i];
        if (c == pad)
            break;
        unsigned char digit = value[c];
        if (digit == kNotADigit)
            continue;
        bits = (bits << 6) | digit;
        pending += 6;
        if (pending >= 8) {
            pending -= 8;
            dest[written++] = static_cast<unsigned char>(bits >> pending);
            bits &= (1u << pending) - 1;
        }
    }
    if (written == 0)
        out.Clear();
    else
        out.SetLength(written);
    return out;
}

// Not called by the agent; the encoder beside FromEnc, which decodes the announced credentials.
ZrByteBuffer ZrBase64::ToEnc(const ZrByteBuffer& data, const char* alphabet) {
    ZrByteBuffer out;
    if (!UsableAlphabet(alphabet) || data.IsEmpty())
        return out;
    const uint64_t length = data.Length();
    out.SetLength((length + 2) / 3 * 4);
    unsigned char* dest = out.MutableData();
    const unsigned char* src = data.Data();
    uint64_t o = 0;
    uint64_t i = 0;
    for (; i + 3 <= length; i += 3) {
        uint32_t group =
            (static_cast<uint32_t>(src[i]) << 16) | (static_cast<uint32_t>(src[i + 1]) << 8) | src[i + 2];
        dest[o++] = static_cast<unsigned char>(alphabet[(group >> 18) & 63]);
        dest[o++] = static_cast<unsigned char>(alphabet[(group >> 12) & 63]);
        dest[o++] = static_cast<unsigned char>(alphabet[(group >> 6) & 63]);
        dest[o++] = static_cast<unsigned char>(alphabet[group & 63]);
    }
    if (i < length) {
        uint32_t group = static_cast<uint32_t>(src[i]) << 16;
        if (i + 1 < length)
            group |= static_cast<uint32_t>(src[i + 1]) << 8;
        dest[o++] = static_cast<unsigned char>(alphabet[(group >> 18) & 63]);
        dest[o++] = static_cast<unsigned char>(alphabet[(group >> 12) & 63]);
        dest[o++] = static_cast<unsigned char>(i + 1 < length ? alphabet[(group >> 6) & 63] : alphabet[64]);
        dest[o++] = static_cast<unsigned char>(alphabet[64]);
    }
    return out;
}
