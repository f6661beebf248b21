// ZrCheckSum: the 32-bit checksum of a string's code units (a CRC with the cksum table, fed the
// units and then their count), with 1, 2 and 3 kept for ".", ".." and "". Pure function; cannot fail.
#pragma once

#include <cstdint>

#include "foundation/string/zrunistring.h"

class ZrCheckSum {
public:
    // "." gives 1, ".." gives 2, "" gives 3; any other string gives a value of 3 or more.
    static uint32_t Sum(const ZrUniString& text);
};
