#include "foundation/crypto/zrmessagedigest.h"

#include <cstring>

#include "foundation/crypto/zrbyteorder.h"
#include "foundation/crypto/zrsecurewipe.h"

namespace {

inline uint32_t Rotl(uint32_t v, unsigned n) {
    return (v << n) | (v >> (32 - n));
}

using zr_crypto::LoadLE;
using zr_crypto::StoreLE;

// Message word i of a block, read where it lies rather than copied to the stack, so that no copy of
// (possibly secret) input is left behind in a dead frame.
inline uint32_t W(const unsigned char* block, int i) {
    return LoadLE(block + 4 * i);
}

// MD4 steps. The selection function is written with one fewer operation than its textbook form.
inline void Md4R1(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, unsigned s) {
    a = Rotl(a + (d ^ (b & (c ^ d))) + x, s);
}
inline void Md4R2(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, unsigned s) {
    a = Rotl(a + ((b & c) | (d & (b | c))) + x + 0x5A827999u, s);
}
inline void Md4R3(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, unsigned s) {
    a = Rotl(a + (b ^ c ^ d) + x + 0x6ED9EBA1u, s);
}

inline void Md5R1(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t, unsigned s) {
    a = Rotl(a + (d ^ (b & (c ^ d))) + x + t, s) + b;
}
inline void Md5R2(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t, unsigned s) {
    a = Rotl(a + (c ^ (d & (b ^ c))) + x + t, s) + b;
}
inline void Md5R3(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t, unsigned s) {
    a = Rotl(a + (b ^ c ^ d) + x + t, s) + b;
}
inline void Md5R4(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, uint32_t t, unsigned s) {
    a = Rotl(a + (c ^ (b | ~d)) + x + t, s) + b;
}

} // namespace

bool ZrMessageDigest::MDInit(Context& context, int kind) {
    context.state[0] = 0x67452301u;
    context.state[1] = 0xEFCDAB89u;
    context.state[2] = 0x98BADCFEu;
    context.state[3] = 0x10325476u;
    context.length = 0;
    context.kind = kind;
    return kind == kZrDigestMD4 || kind == kZrDigestMD5;
}

void ZrMessageDigest::MDUpdate(Context& context, const void* data, size_t length) {
    if (length == 0)
        return;
    const auto* bytes = static_cast<const unsigned char*>(data);
    size_t used = static_cast<size_t>(context.length % 64);
    context.length += length;
    if (used != 0) {
        size_t take = 64 - used;
        if (length < take) {
            std::memcpy(context.buffer + used, bytes, length);
            return;
        }
        std::memcpy(context.buffer + used, bytes, take);
        MDTransform(context, context.buffer, 1);
        bytes += take;
        length -= take;
    }
    // Whole blocks straight from the caller's memory; only the tail is copied.
    size_t blocks = length / 64;
    if (blocks != 0)
        MDTransform(context, bytes, blocks);
    std::memcpy(context.buffer, bytes + blocks * 64, length % 64);
}

void ZrMessageDigest::MDFinal(Context& context, unsigned char digest[kDigestLength]) {
    uint64_t bits = context.length * 8;
    size_t used = static_cast<size_t>(context.length % 64);
    context.buffer[used++] = 0x80;
    if (used > 56) {
        std::memset(context.buffer + used, 0, 64 - used);
        MDTransform(context, context.buffer, 1);
        used = 0;
    }
    std::memset(context.buffer + used, 0, 56 - used);
    for (int i = 0; i < 8; ++i)
        context.buffer[56 + i] = static_cast<unsigned char>(bits >> (8 * i));
    MDTransform(context, context.buffer, 1);
    for (int i = 0; i < 4; ++i)
        StoreLE(context.state[i], digest + 4 * i);
    ZrSecureWipeObject(context);
}

ZrByteBuffer ZrMessageDigest::MDEncode(const ZrByteBuffer& data, int kind) {
    Context context;
    if (!MDInit(context, kind))
        return ZrByteBuffer();
    MDUpdate(context, data.Data(), static_cast<size_t>(data.Length()));
    unsigned char digest[kDigestLength];
    MDFinal(context, digest);
    return ZrByteBuffer(digest, sizeof(digest));
}

void ZrMessageDigest::MDTransform(Context& context, const unsigned char* blocks, size_t count) {
    if (context.kind == kZrDigestMD4) {
        for (size_t i = 0; i < count; ++i)
            MD4Transform(context.state, blocks + 64 * i);
    } else if (context.kind == kZrDigestMD5) {
        for (size_t i = 0; i < count; ++i)
            MD5Transform(context.state, blocks + 64 * i);
    }
}

void ZrMessageDigest::MD4Transform(uint32_t state[4], const unsigned char block[64]) {
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

    Md4R1(a, b, c, d, W(block, 0), 3);
    Md4R1(d, a, b, c, W(block, 1), 7);
    Md4R1(c, d, a, b, W(block, 2), 11);
    Md4R1(b, c, d, a, W(block, 3), 19);
    Md4R1(a, b, c, d, W(block, 4), 3);
    Md4R1(d, a, b, c, W(block, 5), 7);
    Md4R1(c, d, a, b, W(block, 6), 11);
    Md4R1(b, c, d, a, W(block, 7), 19);
    Md4R1(a, b, c, d, W(block, 8), 3);
    Md4R1(d, a, b, c, W(block, 9), 7);
    Md4R1(c, d, a, b, W(block, 10), 11);
    Md4R1(b, c, d, a, W(block, 11), 19);
    Md4R1(a, b, c, d, W(block, 12), 3);
    Md4R1(d, a, b, c, W(block, 13), 7);
    Md4R1(c, d, a, b, W(block, 14), 11);
    Md4R1(b, c, d, a, W(block, 15), 19);

    Md4R2(a, b, c, d, W(block, 0), 3);
    Md4R2(d, a, b, c, W(block, 4), 5);
    Md4R2(c, d, a, b, W(block, 8), 9);
    Md4R2(b, c, d, a, W(block, 12), 13);
    Md4R2(a, b, c, d, W(block, 1), 3);
    Md4R2(d, a, b, c, W(block, 5), 5);
    Md4R2(c, d, a, b, W(block, 9), 9);
    Md4R2(b, c, d, a, W(block, 13), 13);
    Md4R2(a, b, c, d, W(block, 2), 3);
    Md4R2(d, a, b, c, W(block, 6), 5);
    Md4R2(c, d, a, b, W(block, 10), 9);
    Md4R2(b, c, d, a, W(block, 14), 13);
    Md4R2(a, b, c, d, W(block, 3), 3);
    Md4R2(d, a, b, c, W(block, 7), 5);
    Md4R2(c, d, a, b, W(block, 11), 9);
    Md4R2(b, c, d, a, W(block, 15), 13);

    Md4R3(a, b, c, d, W(block, 0), 3);
    Md4R3(d, a, b, c, W(block, 8), 9);
    Md4R3(c, d, a, b, W(block, 4), 11);
    Md4R3(b, c, d, a, W(block, 12), 15);
    Md4R3(a, b, c, d, W(block, 2), 3);
    Md4R3(d, a, b, c, W(block, 10), 9);
    Md4R3(c, d, a, b, W(block, 6), 11);
    Md4R3(b, c, d, a, W(block, 14), 15);
    Md4R3(a, b, c, d, W(block, 1), 3);
    Md4R3(d, a, b, c, W(block, 9), 9);
    Md4R3(c, d, a, b, W(block, 5), 11);
    Md4R3(b, c, d, a, W(block, 13), 15);
    Md4R3(a, b, c, d, W(block, 3), 3);
    Md4R3(d, a, b, c, W(block, 11), 9);
    Md4R3(c, d, a, b, W(block, 7), 11);
    Md4R3(b, c, d, a, W(block, 15), 15);

    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

void ZrMessageDigest::MD5Transform(uint32_t state[4], const unsigned char block[64]) {
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

    // The additive constants are floor(|sin(i)| * 2^32) for i = 1..64.
    Md5R1(a, b, c, d, W(block, 0), 0xD76AA478u, 7);
    Md5R1(d, a, b, c, W(block, 1), 0xE8C7B756u, 12);
    Md5R1(c, d, a, b, W(block, 2), 0x242070DBu, 17);
    Md5R1(b, c, d, a, W(block, 3), 0xC1BDCEEEu, 22);
    Md5R1(a, b, c, d, W(block, 4), 0xF57C0FAFu, 7);
    Md5R1(d, a, b, c, W(block, 5), 0x4787C62Au, 12);
    Md5R1(c, d, a, b, W(block, 6), 0xA8304613u, 17);
    Md5R1(b, c, d, a, W(block, 7), 0xFD469501u, 22);
    Md5R1(a, b, c, d, W(block, 8), 0x698098D8u, 7);
    Md5R1(d, a, b, c, W(block, 9), 0x8B44F7AFu, 12);
    Md5R1(c, d, a, b, W(block, 10), 0xFFFF5BB1u, 17);
    Md5R1(b, c, d, a, W(block, 11), 0x895CD7BEu, 22);
    Md5R1(a, b, c, d, W(block, 12), 0x6B901122u, 7);
    Md5R1(d, a, b, c, W(block, 13), 0xFD987193u, 12);
    Md5R1(c, d, a, b, W(block, 14), 0xA679438Eu, 17);
    Md5R1(b, c, d, a, W(block, 15), 0x49B40821u, 22);

    Md5R2(a, b, c, d, W(block, 1), 0xF61E2562u, 5);
    Md5R2(d, a, b, c, W(block, 6), 0xC040B340u, 9);
    Md5R2(c, d, a, b, W(block, 11), 0x265E5A51u, 14);
    Md5R2(b, c, d, a, W(block, 0), 0xE9B6C7AAu, 20);
    Md5R2(a, b, c, d, W(block, 5), 0xD62F105Du, 5);
    Md5R2(d, a, b, c, W(block, 10), 0x02441453u, 9);
    Md5R2(c, d, a, b, W(block, 15), 0xD8A1E681u, 14);
    Md5R2(b, c, d, a, W(block, 4), 0xE7D3FBC8u, 20);
    Md5R2(a, b, c, d, W(block, 9), 0x21E1CDE6u, 5);
    Md5R2(d, a, b, c, W(block, 14), 0xC33707D6u, 9);
    Md5R2(c, d, a, b, W(block, 3), 0xF4D50D87u, 14);
    Md5R2(b, c, d, a, W(block, 8), 0x455A14EDu, 20);
    Md5R2(a, b, c, d, W(block, 13), 0xA9E3E905u, 5);
    Md5R2(d, a, b, c, W(block, 2), 0xFCEFA3F8u, 9);
    Md5R2(c, d, a, b, W(block, 7), 0x676F02D9u, 14);
    Md5R2(b, c, d, a, W(block, 12), 0x8D2A4C8Au, 20);

    Md5R3(a, b, c, d, W(block, 5), 0xFFFA3942u, 4);
    Md5R3(d, a, b, c, W(block, 8), 0x8771F681u, 11);
    Md5R3(c, d, a, b, W(block, 11), 0x6D9D6122u, 16);
    Md5R3(b, c, d, a, W(block, 14), 0xFDE5380Cu, 23);
    Md5R3(a, b, c, d, W(block, 1), 0xA4BEEA44u, 4);
    Md5R3(d, a, b, c, W(block, 4), 0x4BDECFA9u, 11);
    Md5R3(c, d, a, b, W(block, 7), 0xF6BB4B60u, 16);
    Md5R3(b, c, d, a, W(block, 10), 0xBEBFBC70u, 23);
    Md5R3(a, b, c, d, W(block, 13), 0x289B7EC6u, 4);
    Md5R3(d, a, b, c, W(block, 0), 0xEAA127FAu, 11);
    Md5R3(c, d, a, b, W(block, 3), 0xD4EF3085u, 16);
    Md5R3(b, c, d, a, W(block, 6), 0x04881D05u, 23);
    Md5R3(a, b, c, d, W(block, 9), 0xD9D4D039u, 4);
    Md5R3(d, a, b, c, W(block, 12), 0xE6DB99E5u, 11);
    Md5R3(c, d, a, b, W(block, 15), 0x1FA27CF8u, 16);
    Md5R3(b, c, d, a, W(block, 2), 0xC4AC5665u, 23);

    Md5R4(a, b, c, d, W(block, 0), 0xF4292244u, 6);
    Md5R4(d, a, b, c, W(block, 7), 0x432AFF97u, 10);
    Md5R4(c, d, a, b, W(block, 14), 0xAB9423A7u, 15);
    Md5R4(b, c, d, a, W(block, 5), 0xFC93A039u, 21);
    Md5R4(a, b, c, d, W(block, 12), 0x655B59C3u, 6);
    Md5R4(d, a, b, c, W(block, 3), 0x8F0CCC92u, 10);
    Md5R4(c, d, a, b, W(block, 10), 0xFFEFF47Du, 15);
    Md5R4(b, c, d, a, W(block, 1), 0x85845DD1u, 21);
    Md5R4(a, b, c, d, W(block, 8), 0x6FA87E4Fu, 6);
    Md5R4(d, a, b, c, W(block, 15), 0xFE2CE6E0u, 10);
    Md5R4(c, d, a, b, W(block, 6), 0xA3014314u, 15);
    Md5R4(b, c, d, a, W(block, 13), 0x4E0811A1u, 21);
    Md5R4(a, b, c, d, W(block, 4), 0xF7537E82u, 6);
    Md5R4(d, a, b, c, W(block, 11), 0xBD3AF235u, 10);
    Md5R4(c, d, a, b, W(block, 2), 0x2AD7D2BBu, 15);
    Md5R4(b, c, d, a, W(block, 9), 0xEB86D391u, 21);

    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}
