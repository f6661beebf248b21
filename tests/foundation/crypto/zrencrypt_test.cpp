#include "foundation/crypto/zrencrypt.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "foundation/crypto/zrdes.h"
#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

class ZrEncryptTest : public ::testing::Test {
protected:
    void SetUp() override { ZrDES::encryptdata = true; }
    void TearDown() override { ZrDES::encryptdata = true; }
};

const struct {
    const char *password, *lmHash, *ntHash, *challenge, *lmResponse, *ntResponse;
} kExamples[] = {
    // [MS-NLMP] section 4.2.2, NTLMv1 authentication example (password "Password").
    {"Password", "E52CAC67419A9A224A3B108F3FA6CB6D", "A4F49C406510BDCAB6824EE7C30FD852", "0123456789ABCDEF",
     "98DEF7B87F88AA5DAFE2DF779688A172DEF11C7D5CCDEF13", "67C43011F30298A2AD35ECE64F16331C44BDBED927841F94"},
    // E. Glass, "The NTLM Authentication Protocol and Security Support Provider", worked example
    // ("SecREt01").
    {"SecREt01", "FF3750BCC2B22412C2265B23734E0DAC", "CD06CA7C7E10C99B1D33B7485A2ED808", "0123456789ABCDEF",
     "C337CD5CBD44FC9782A667AF6D427C6DE67C20C2D3E77C56", "25A98C1C31E81847466B29B2DF4680F39958FB8C213A9CC6"},
};

TEST_F(ZrEncryptTest, HashesAndResponsesMatchPublishedNtlmExamples) {
    for (const auto& e : kExamples) {
        SCOPED_TRACE(e.password);
        // The classic LAN Manager hash is of the upper-cased password; MSHash itself changes nothing.
        std::string upper = e.password;
        for (char& c : upper)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        ZrByteBuffer lm = ZrEncrypt::MSHash(Bytes(upper));
        ZrByteBuffer nt = ZrEncrypt::UNIHash(Utf16LE(e.password));
        EXPECT_EQ(ToHex(lm), e.lmHash);
        EXPECT_EQ(ToHex(nt), e.ntHash);
        ZrByteBuffer lm2, md4;
        ZrEncrypt::Password_Hash(Bytes(upper), lm2, md4);
        EXPECT_EQ(lm2, lm);
        EXPECT_EQ(md4, ZrEncrypt::MD4_Encode(Bytes(upper)));

        ZrByteBuffer lmResponse, ntResponse;
        ZrEncrypt::Encrypt_hash(lm, FromHex(e.challenge), lmResponse);
        ZrEncrypt::Encrypt_hash(nt, FromHex(e.challenge), ntResponse);
        EXPECT_EQ(ToHex(lmResponse), e.lmResponse);
        EXPECT_EQ(ToHex(ntResponse), e.ntResponse);

        EXPECT_TRUE(ZrEncrypt::CheckNTLMPassword(FromHex(e.ntResponse), nt, FromHex(e.challenge)));
        EXPECT_TRUE(ZrEncrypt::compare_pwd(lm, nt, FromHex(e.lmResponse), FromHex(e.challenge)));
        EXPECT_TRUE(ZrEncrypt::compare_pwd(lm, nt, FromHex(e.ntResponse), FromHex(e.challenge)));
        EXPECT_FALSE(ZrEncrypt::compare_pwd(lm, nt, FromHex(e.ntResponse), FromHex("0123456789ABCDEE")));
    }
}

// The well-known hash of the empty password (the constant under seven zero bytes, twice); only the
// first 14 bytes count, and there is no case change inside.
TEST_F(ZrEncryptTest, LanManagerHashOfEmptyAndOverlongPasswords) {
    EXPECT_EQ(ToHex(ZrEncrypt::MSHash(ZrByteBuffer())), "AAD3B435B51404EEAAD3B435B51404EE");
    EXPECT_EQ(ZrEncrypt::MSHash(Bytes("ABCDEFGHIJKLMNOPQRST")), ZrEncrypt::MSHash(Bytes("ABCDEFGHIJKLMN")));
    EXPECT_NE(ZrEncrypt::MSHash(Bytes("password")), ZrEncrypt::MSHash(Bytes("PASSWORD")));
}

// A response of any other length, or with one bit changed, is refused; a response is appended.
TEST_F(ZrEncryptTest, ResponseCheckRejectsEveryOtherLength) {
    ZrByteBuffer hash = FromHex("CD06CA7C7E10C99B1D33B7485A2ED808"), challenge = FromHex("0123456789ABCDEF");
    ZrByteBuffer response;
    ZrEncrypt::Encrypt_hash(hash, challenge, response);
    for (uint64_t length : {0u, 8u, 16u, 23u, 25u}) {
        ZrByteBuffer other = response;
        other.SetLength(length);
        EXPECT_FALSE(ZrEncrypt::CheckNTLMPassword(other, hash, challenge)) << length;
    }
    ZrByteBuffer flipped = response;
    flipped.MutableData()[23] ^= 1;
    EXPECT_FALSE(ZrEncrypt::CheckNTLMPassword(flipped, hash, challenge));
    ZrEncrypt::Encrypt_hash(hash, challenge, response);
    EXPECT_EQ(response.Length(), 48u);
}

// The stored value is a hash of 16 bytes or more; a 16-byte password that is the hash itself matches,
// anything shorter is always hashed first.
TEST_F(ZrEncryptTest, ComparePwdLowAcceptsTheStoredHashOrItsPassword) {
    ZrByteBuffer stored = ZrEncrypt::MSHash(Bytes("SECRET01")), unused = FromHex("00");
    EXPECT_TRUE(ZrEncrypt::compare_pwd_low(stored, unused, Bytes("SECRET01")));
    EXPECT_FALSE(ZrEncrypt::compare_pwd_low(stored, unused, Bytes("SECRET02")));
    EXPECT_TRUE(ZrEncrypt::compare_pwd_low(stored, unused, stored));
    ZrByteBuffer shortStored = stored;
    shortStored.SetLength(15);
    EXPECT_FALSE(ZrEncrypt::compare_pwd_low(shortStored, unused, Bytes("SECRET01")));
    EXPECT_FALSE(ZrEncrypt::compare_pwd_low(shortStored, unused, shortStored));
}

} // namespace
