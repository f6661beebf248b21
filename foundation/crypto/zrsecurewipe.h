// ZrSecureWipe: zeroes memory that held a secret (clear password, key, key schedule) in a way the
// compiler may not drop as a dead store. Works on any memory the caller owns; cannot fail.
#pragma once

#include <cstddef>
#include <cstring>

inline void ZrSecureWipe(void* bytes, size_t count) {
    if (bytes != nullptr && count != 0)
        explicit_bzero(bytes, count);
}

// Wipes a whole object (array or struct of plain data) in place.
template <typename T> inline void ZrSecureWipeObject(T& object) {
    ZrSecureWipe(&object, sizeof(object));
}
