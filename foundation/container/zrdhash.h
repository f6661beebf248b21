// ZrDictionary's key hash: the value of ZrByteBuffer::HashValue (h = h * 9 + byte from 0, modulo
// 2^32), taken straight from the key's bytes. Pure functions; nothing fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "foundation/string/zrbytebuffer.h"

// Same result as ZrByteBuffer::HashValue over `length` bytes.
inline uint32_t ZrHashBytes(const void* bytes, uint64_t length) {
    return ZrByteBuffer::HashBytes(bytes, length);
}

// The dictionary hashes byte-buffer keys (ZrUniString, ZrByteBuffer) through ZrHashBytes and any
// other key type through its own HashValue(); both give HashValue's number.
template <class K> inline uint32_t ZrKeyHash(const K& key) {
    if constexpr (std::is_base_of_v<ZrByteBuffer, K>)
        return ZrHashBytes(key.Data(), static_cast<const ZrByteBuffer&>(key).Length());
    else
        return key.HashValue();
}
