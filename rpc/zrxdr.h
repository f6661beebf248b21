// XDR primitives shared by the wire records: big-endian 32-bit words and length-prefixed opaque data
// padded with zeros to four bytes. Readers return false on a shortage and consume nothing then.
#pragma once

#include <cstdint>
#include <cstring>

namespace zrxdr {

inline uint64_t Pad4(uint64_t n) {
    return (n + 3) & ~uint64_t(3);
}

inline void PutU32(unsigned char*& out, uint32_t value) {
    out[0] = static_cast<unsigned char>(value >> 24);
    out[1] = static_cast<unsigned char>(value >> 16);
    out[2] = static_cast<unsigned char>(value >> 8);
    out[3] = static_cast<unsigned char>(value);
    out += 4;
}

[[nodiscard]] inline bool GetU32(const unsigned char*& data, unsigned long& remaining, uint32_t& value) {
    if (remaining < 4)
        return false;
    value = uint32_t(data[0]) << 24 | uint32_t(data[1]) << 16 | uint32_t(data[2]) << 8 | uint32_t(data[3]);
    data += 4;
    remaining -= 4;
    return true;
}

inline unsigned long OpaqueSize(uint64_t length) {
    return static_cast<unsigned long>(4 + Pad4(length));
}

inline void PutOpaque(unsigned char*& out, const unsigned char* bytes, uint32_t length) {
    PutU32(out, length);
    if (length)
        std::memcpy(out, bytes, length);
    out += length;
    for (uint64_t pad = Pad4(length) - length; pad; --pad)
        *out++ = 0;
}

// The padding must be present but is not checked.
[[nodiscard]] inline bool GetOpaque(const unsigned char*& data, unsigned long& remaining,
                                    const unsigned char*& bytes, uint32_t& length) {
    const unsigned char* start = data;
    unsigned long left = remaining;
    uint32_t n;
    if (!GetU32(start, left, n) || Pad4(n) > left)
        return false;
    bytes = start;
    length = n;
    data = start + Pad4(n);
    remaining = left - static_cast<unsigned long>(Pad4(n));
    return true;
}

} // namespace zrxdr
