#include "foundation/crypto/zrmessagedigest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

// Only the test reaches for the reference library's one-shot MD4/MD5 calls, which it marks deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md4.h>
#include <openssl/md5.h>

#include "foundation/crypto/zrencrypt.h"
#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

// Through the wrappers the hashes call, which name each kind once.
TEST(ZrMessageDigestTest, AgreesWithReferenceLibraryOnRandomInputs) {
    std::mt19937 rng(1320);
    for (int round = 0; round < 3000; ++round) {
        // Lengths around the padding boundaries (55, 56, 63, 64, ...) come up often below 300.
        size_t length = round < 300 ? static_cast<size_t>(round) : rng() % 2000;
        ZrByteBuffer input;
        while (input.Length() < length)
            input.AppendByte(static_cast<unsigned char>(rng()));
        unsigned char md4[16], md5[16];
        MD4(input.Data(), length, md4);
        MD5(input.Data(), length, md5);
        ASSERT_EQ(ZrEncrypt::MD4_Encode(input), ZrByteBuffer(md4, 16)) << "length " << length;
        ASSERT_EQ(ZrEncrypt::MD5_Encode(input), ZrByteBuffer(md5, 16)) << "length " << length;
        // In three pieces, the first or the second ending exactly on a block's end.
        ZrMessageDigest::Context context;
        ASSERT_TRUE(ZrMessageDigest::MDInit(context, kZrDigestMD5));
        const size_t first = std::min<size_t>(length, round % 2 ? 64 : round % 13);
        const size_t second = std::min(length - first, 64 - first % 64);
        ZrMessageDigest::MDUpdate(context, input.Data(), first);
        ZrMessageDigest::MDUpdate(context, input.Data() + first, second);
        ZrMessageDigest::MDUpdate(context, input.Data() + first + second, length - first - second);
        ZrMessageDigest::MDFinal(context, md5);
        ASSERT_EQ(ZrEncrypt::MD5_Encode(input), ZrByteBuffer(md5, 16)) << first << "+" << second;
    }
}

TEST(ZrMessageDigestTest, RefusesUnknownKindsAndFinalWipesTheContext) {
    ZrMessageDigest::Context context;
    EXPECT_FALSE(ZrMessageDigest::MDInit(context, 3));
    EXPECT_TRUE(ZrMessageDigest::MDEncode(Bytes("abc"), 6).IsEmpty());
    ASSERT_TRUE(ZrMessageDigest::MDInit(context, kZrDigestMD5));
    ZrMessageDigest::MDUpdate(context, "secret", 6);
    unsigned char digest[16];
    ZrMessageDigest::MDFinal(context, digest);
    const auto* raw = reinterpret_cast<const unsigned char*>(&context);
    for (size_t i = 0; i < sizeof(context); ++i)
        ASSERT_EQ(raw[i], 0) << "byte " << i;
}

} // namespace
