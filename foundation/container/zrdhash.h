// ZrDictionary's key hash: the value of ZrByteBuffer::HashValue (h = h * 9 + byte from 0, modulo
// 2^32), computed eight bytes per step so that long keys do not pay for one serial multiply-add per
// byte. Pure functions; nothing fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "foundation/string/zrbytebuffer.h"

// Same result as ZrByteBuffer::HashValue over `length` bytes.
inline uint32_t ZrHashBytes(const void* bytes, uint64_t length) {
    // Over a block of eight bytes, h * 9^8 + sum(b[j] * 9^(7-j)): the inner sum does not depend on h,
    // so the chain that carries h costs one multiply and one add per block instead of per byte.
    constexpr uint32_t p1 = 9, p2 = p1 * 9, p3 = p2 * 9, p4 = p3 * 9, p5 = p4 * 9, p6 = p5 * 9, p7 = p6 * 9,
                       p8 = p7 * 9;
    const unsigned char* p = static_cast<const unsigned char*>(bytes);
    uint32_t h = 0;
    uint64_t i = 0;
    for (; i + 8 <= length; i += 8) {
        const unsigned char* b = p + i;
        uint32_t block =
            b[0] * p7 + b[1] * p6 + b[2] * p5 + b[3] * p4 + b[4] * p3 + b[5] * p2 + b[6] * p1 + b[7];
        h = h * p8 + block;
    }
    for (; i < length; ++i)
        h = h * 9 + p[i];
    return h;
}

// The dictionary hashes byte-buffer keys (ZrUniString, ZrByteBuffer) through ZrHashBytes and any
// other key type through its own HashValue(); both give HashValue's number.
template <class K> inline uint32_t ZrKeyHash(const K& key) {
    if constexpr (std::is_base_of_v<ZrByteBuffer, K>)
        return ZrHashBytes(key.Data(), static_cast<const ZrByteBuffer&>(key).Length());
    else
        return key.HashValue();
}
