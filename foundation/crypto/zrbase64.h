// ZrBase64: Base64 over a caller-chosen alphabet of 65 characters (64 digits, then the padding
// character). Decoding is lenient and never fails: it skips characters outside the alphabet and stops
// at the first padding character. An alphabet shorter than 65 characters gives an empty result.
#pragma once

#include "foundation/string/zrbytebuffer.h"

class ZrBase64 {
public:
    static constexpr const char* kStandardAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
    // The alphabet of the client's encoded user names and passwords: "-" in place of "/".
    static constexpr const char* kProgramAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-=";

    // The decoded bytes. Trailing digits that do not complete a byte are dropped. The result is built
    // in one allocation, so a caller decoding a secret wipes exactly one block (ZrByteBuffer::Wipe).
    static ZrByteBuffer FromEnc(const ZrByteBuffer& text, const char* alphabet);
    // The encoded text as bytes, padded with the alphabet's 65th character to a multiple of four.
    static ZrByteBuffer ToEnc(const ZrByteBuffer& data, const char* alphabet);
};
