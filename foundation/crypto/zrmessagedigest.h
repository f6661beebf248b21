// ZrMessageDigest: the MD4 and MD5 digests, incrementally (MDInit, MDUpdate, MDFinal on a caller-owned
// Context) or in one call (MDEncode). No heap use inside; an unknown kind fails (false / empty buffer).
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/string/zrbytebuffer.h"

enum ZrDigestKind : int {
    kZrDigestMD4 = 4,
    kZrDigestMD5 = 5,
};

class ZrMessageDigest {
public:
    static constexpr size_t kDigestLength = 16;

    struct Context {
        uint32_t state[4];
        uint64_t length; // bytes hashed so far
        unsigned char buffer[64];
        int kind;
    };

    // Starts a digest of `kind` (4 or 5); false for any other kind, leaving the context unusable.
    [[nodiscard]] static bool MDInit(Context& context, int kind);
    static void MDUpdate(Context& context, const void* data, size_t length);
    // Pads, writes the 16-byte digest and wipes the context (it may have held secret input).
    static void MDFinal(Context& context, unsigned char digest[kDigestLength]);

    // The 16-byte digest of `data`; empty for an unknown kind.
    static ZrByteBuffer MDEncode(const ZrByteBuffer& data, int kind);

private:
    // Runs `count` 64-byte blocks through the kind's compression function.
    static void MDTransform(Context& context, const unsigned char* blocks, size_t count);
    static void MD4Transform(uint32_t state[4], const unsigned char block[64]);
    static void MD5Transform(uint32_t state[4], const unsigned char block[64]);
};
