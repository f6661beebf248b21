#include "foundation/crypto/zrbase64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

std::string Text(const ZrByteBuffer& bytes) {
    return std::string(reinterpret_cast<const char*>(bytes.Data()), bytes.Length());
}

// clang-format off
const struct {
    const char* encoded;
    const char* decoded;
} kDecodeCases[] = {
    // Whole groups and padding are covered by the encoding checks and the round trip below.
    // Missing padding: whole bytes are still recovered, a lone trailing digit is dropped.
    {"Zm9vYg", "foob"}, {"Zm9vY", "foo"},
    // Characters outside the alphabet are skipped, so line breaks and spaces do no harm.
    {"Zm9v\nYmFy", "foobar"}, {" Zm 9v ", "foo"},
    // Decoding stops at the first padding character; nothing decodable at all.
    {"Zg==Zm9v", "f"}, {"=Zm9v", ""}, {"!!!!", ""},
};
// clang-format on

TEST(ZrBase64Test, DecodesAndEncodesWithTheAlphabetsDigitsAndPadding) {
    for (const auto& c : kDecodeCases)
        EXPECT_EQ(Text(ZrBase64::FromEnc(Bytes(c.encoded), ZrBase64::kProgramAlphabet)), c.decoded)
            << c.encoded;
    EXPECT_EQ(Text(ZrBase64::ToEnc(Bytes("foobar"), ZrBase64::kStandardAlphabet)), "Zm9vYmFy");
    EXPECT_EQ(Text(ZrBase64::ToEnc(Bytes("foob"), ZrBase64::kStandardAlphabet)), "Zm9vYg==");
    // "-" stands where the standard alphabet has "/", which the program alphabet skips as a stranger.
    EXPECT_EQ(Text(ZrBase64::ToEnc(FromHex("3FFF3F"), ZrBase64::kProgramAlphabet)), "P-8-");
    EXPECT_EQ(ToHex(ZrBase64::FromEnc(Bytes("P/8/"), ZrBase64::kStandardAlphabet)), "3FFF3F");
    EXPECT_EQ(ToHex(ZrBase64::FromEnc(Bytes("P/8/"), ZrBase64::kProgramAlphabet)), "3F");
}

// Every length and remainder, with both alphabets: four digits per started group of three bytes.
TEST(ZrBase64Test, RoundTripsRandomBytes) {
    std::mt19937 rng(4648);
    for (size_t length = 0; length < 64; ++length) {
        ZrByteBuffer data;
        while (data.Length() < length)
            data.AppendByte(static_cast<unsigned char>(rng()));
        for (const char* alphabet : {ZrBase64::kProgramAlphabet, ZrBase64::kStandardAlphabet}) {
            ZrByteBuffer encoded = ZrBase64::ToEnc(data, alphabet);
            EXPECT_EQ(encoded.Length(), (length + 2) / 3 * 4);
            EXPECT_EQ(ZrBase64::FromEnc(encoded, alphabet), data);
        }
    }
}

} // namespace
