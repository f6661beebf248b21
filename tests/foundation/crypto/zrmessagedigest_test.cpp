#include "foundation/crypto/zrmessagedigest.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

// Only the test reaches for the reference library's one-shot MD4/MD5 calls, which it marks deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md4.h>
#include <openssl/md5.h>

#include "foundation/crypto/zrencrypt.h"
#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

struct DigestCase {
    const char* input;
    const char* md4;
    const char* md5;
};

// From the test suites of RFC 1320 (MD4) and RFC 1321 (MD5): same inputs, one row each.
const DigestCase kSuite[] = {
    {"", "31D6CFE0D16AE931B73C59D7E0C089C0", "D41D8CD98F00B204E9800998ECF8427E"},
    {"abc", "A448017AAF21D8525FC10AE87AA6729D", "900150983CD24FB0D6963F7D28E17F72"},
    {"abcdefghijklmnopqrstuvwxyz", "D79E1C308AA5BBCDEEA8ED63DF412DA9", "C3FCD3D76192E4007DFB496CCA67E13B"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "043F8582F241DB351CE627E153E7F0E4",
     "D174AB98D277D9F5A5611C2C9F419D9F"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "E33B4DDC9C38F2199C3E7B164FCC0536", "57EDF4A22BE3C955AC49DA2E2107B67A"},
};

TEST(ZrMessageDigestTest, MatchesPublishedSuites) {
    for (const DigestCase& c : kSuite) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(ToHex(ZrMessageDigest::MDEncode(Bytes(c.input), kZrDigestMD4)), c.md4);
        EXPECT_EQ(ToHex(ZrMessageDigest::MDEncode(Bytes(c.input), kZrDigestMD5)), c.md5);
        EXPECT_EQ(ToHex(ZrEncrypt::MD4_Encode(Bytes(c.input))), c.md4);
        EXPECT_EQ(ToHex(ZrEncrypt::MD5_Encode(Bytes(c.input))), c.md5);
    }
    ZrMessageDigest::Context context;
    EXPECT_FALSE(ZrMessageDigest::MDInit(context, 3));
    EXPECT_TRUE(ZrMessageDigest::MDEncode(Bytes("abc"), 6).IsEmpty()) << "unknown kind";
}

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
    }
}

TEST(ZrMessageDigestTest, FinalWipesTheContext) {
    ZrMessageDigest::Context context;
    ASSERT_TRUE(ZrMessageDigest::MDInit(context, kZrDigestMD5));
    ZrMessageDigest::MDUpdate(context, "secret", 6);
    unsigned char digest[16];
    ZrMessageDigest::MDFinal(context, digest);
    const auto* raw = reinterpret_cast<const unsigned char*>(&context);
    for (size_t i = 0; i < sizeof(context); ++i)
        ASSERT_EQ(raw[i], 0) << "byte " << i;
}

} // namespace
