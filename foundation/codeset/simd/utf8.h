// Block loops for UTF-8 on processors with 512-bit vectors: up to 64 bytes or 32 units a step for
// the characters of one to three bytes, stopping in front of anything else (four-byte characters,
// surrogates, malformed or truncated bytes) so that the character-at-a-time code decides it. Plain
// functions over caller-owned memory; nothing allocates or fails. Run only while simd::Enabled().
#pragma once

#include <cstddef>

#include "foundation/string/zrunistring.h"

namespace zr_codeset::utf8 {

// Decodes whole characters from bytes[i, length) into `out`, which has room for a unit per byte;
// returns the position of the first byte left for the caller (length when all were taken).
size_t DecodeBlocks(const unsigned char* bytes, size_t i, size_t length, ZrUniChar*& out);

// Encodes units[i, count) below U+D800 or above U+DFFF into p + written, which has room for three
// bytes a unit (nothing is stored past the bytes counted); returns the index of the first unit left
// (a surrogate, or count).
size_t EncodeBlocks(const ZrUniChar* units, size_t i, size_t count, unsigned char* p, size_t& written);

} // namespace zr_codeset::utf8
