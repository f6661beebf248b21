#include "foundation/crypto/zrencrypt.h"

#include <gtest/gtest.h>

#include "foundation/crypto/zrdes.h"
#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

class ZrEncryptTest : public ::testing::Test {
protected:
    void SetUp() override { ZrDES::encryptdata = true; }
    void TearDown() override { ZrDES::encryptdata = true; }
};

// The widely used known-answer example: password "Password", server challenge 0123456789ABCDEF.
TEST_F(ZrEncryptTest, HashesAndResponsesMatchTheKnownAnswerExample) {
    // The classic LAN Manager hash is of the upper-cased password; MSHash itself changes nothing.
    const ZrByteBuffer upper = Bytes("PASSWORD"), challenge = FromHex("0123456789ABCDEF");
    ZrByteBuffer lm = ZrEncrypt::MSHash(upper);
    // The NT hash is taken over the UTF-16 little-endian bytes.
    ZrByteBuffer nt = ZrEncrypt::UNIHash(Bytes(std::string("P\0a\0s\0s\0w\0o\0r\0d\0", 16)));
    EXPECT_EQ(ToHex(lm), "E52CAC67419A9A224A3B108F3FA6CB6D");
    EXPECT_EQ(ToHex(nt), "A4F49C406510BDCAB6824EE7C30FD852");
    ZrByteBuffer lm2, md4;
    ZrEncrypt::Password_Hash(upper, lm2, md4);
    EXPECT_EQ(lm2, lm);
    EXPECT_EQ(md4, ZrEncrypt::MD4_Encode(upper));

    ZrByteBuffer lmResponse, ntResponse;
    ZrEncrypt::Encrypt_hash(lm, challenge, lmResponse);
    ZrEncrypt::Encrypt_hash(nt, challenge, ntResponse);
    EXPECT_EQ(ToHex(lmResponse), "98DEF7B87F88AA5DAFE2DF779688A172DEF11C7D5CCDEF13");
    EXPECT_EQ(ToHex(ntResponse), "67C43011F30298A2AD35ECE64F16331C44BDBED927841F94");
}

} // namespace
