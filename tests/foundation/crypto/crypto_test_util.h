// Helpers shared by the cryptography tests: hexadecimal text to and from ZrByteBuffer.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "foundation/string/zrbytebuffer.h"

inline ZrByteBuffer FromHex(const std::string& hex) {
    ZrByteBuffer out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.AppendByte(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

inline std::string ToHex(const ZrByteBuffer& bytes) {
    std::string out;
    for (uint64_t i = 0; i < bytes.Length(); ++i)
        out += {"0123456789ABCDEF"[bytes[i] >> 4], "0123456789ABCDEF"[bytes[i] & 15]};
    return out;
}

inline ZrByteBuffer Bytes(const std::string& text) {
    return ZrByteBuffer(text.data(), text.size());
}

// Lets GoogleTest show buffers as hexadecimal in failure messages.
inline void PrintTo(const ZrByteBuffer& bytes, std::ostream* os) {
    *os << ToHex(bytes);
}
