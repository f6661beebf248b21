#include "foundation/crypto/zrmessagedigest.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

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
    }
}

// Fed in three pieces, the first or second of which ends exactly on a block's end, against the reference
// library's digest of the whole.
TEST(ZrMessageDigestTest, PiecesEndingOnABlockBoundaryAreAllHashed) {
    unsigned char input[200], md4[16], md5[16], digest[16];
    for (size_t i = 0; i < sizeof(input); ++i)
        input[i] = static_cast<unsigned char>(i * 7 + 1);
    MD4(input, sizeof(input), md4);
    MD5(input, sizeof(input), md5);
    const size_t splits[][2] = {{64, 0}, {64, 64}, {64, 100}, {128, 10}, {10, 54}, {10, 118}, {63, 1}};
    for (auto [kind, expected] : {std::pair{kZrDigestMD4, md4}, std::pair{kZrDigestMD5, md5}}) {
        for (auto [first, second] : splits) {
            ZrMessageDigest::Context context;
            ASSERT_TRUE(ZrMessageDigest::MDInit(context, kind));
            ZrMessageDigest::MDUpdate(context, input, first);
            ZrMessageDigest::MDUpdate(context, input + first, second);
            ZrMessageDigest::MDUpdate(context, input + first + second, sizeof(input) - first - second);
            ZrMessageDigest::MDFinal(context, digest);
            EXPECT_EQ(ZrByteBuffer(digest, 16), ZrByteBuffer(expected, 16))
                << kind << ": " << first << "+" << second;
        }
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
