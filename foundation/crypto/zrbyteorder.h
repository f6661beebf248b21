// Little-endian 32-bit loads and stores on byte arrays, shared by the cipher and the digests.
#pragma once

#include <cstdint>

namespace zr_crypto {

inline uint32_t LoadLE(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

inline void StoreLE(uint32_t v, unsigned char* p) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

} // namespace zr_crypto
