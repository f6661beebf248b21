#include "foundation/crypto/zrmessagedigest.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

// Only the test reaches for the reference library's one-shot MD4/MD5 calls, which it marks deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md4.h>
#include <openssl/md5.h>

#include "foundation/crypto/zrencrypt.h"
#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

// Feeds `data` in pieces whose sizes come from `rng`, crossing block boundaries in every way.
ZrByteBuffer DigestInPieces(const std::vector<unsigned char>& data, int kind, std::mt19937& rng) {
    ZrMessageDigest::Context context;
    EXPECT_TRUE(ZrMessageDigest::MDInit(context, kind));
    size_t offset = 0;
    while (offset < data.size()) {
        size_t piece = std::min<size_t>(rng() % 150, data.size() - offset);
        ZrMessageDigest::MDUpdate(context, data.data() + offset, piece);
        offset += piece;
    }
    unsigned char digest[16];
    ZrMessageDigest::MDFinal(context, digest);
    return ZrByteBuffer(digest, 16);
}

TEST(ZrMessageDigestTest, AgreesWithReferenceLibraryOnRandomInputs) {
    std::mt19937 rng(1320);
    for (int round = 0; round < 3000; ++round) {
        // Lengths around the padding boundaries (55, 56, 63, 64, ...) come up often below 300.
        size_t length = round < 300 ? static_cast<size_t>(round) : rng() % 2000;
        std::vector<unsigned char> data(length);
        for (auto& b : data)
            b = static_cast<unsigned char>(rng());
        unsigned char md4[16], md5[16];
        MD4(data.data(), data.size(), md4);
        MD5(data.data(), data.size(), md5);
        ZrByteBuffer input(data.data(), data.size());
        ASSERT_EQ(ZrMessageDigest::MDEncode(input, kZrDigestMD4), ZrByteBuffer(md4, 16))
            << "length " << length;
        ASSERT_EQ(ZrMessageDigest::MDEncode(input, kZrDigestMD5), ZrByteBuffer(md5, 16))
            << "length " << length;
        ASSERT_EQ(DigestInPieces(data, kZrDigestMD4, rng), ZrByteBuffer(md4, 16)) << "length " << length;
        ASSERT_EQ(DigestInPieces(data, kZrDigestMD5, rng), ZrByteBuffer(md5, 16)) << "length " << length;
        ASSERT_EQ(ZrEncrypt::MD4_Encode(input), ZrByteBuffer(md4, 16));
        ASSERT_EQ(ZrEncrypt::MD5_Encode(input), ZrByteBuffer(md5, 16));
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
