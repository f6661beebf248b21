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

struct NtlmExample {
    const char* password;
    const char* lmHash;
    const char* ntHash;
    const char* challenge;
    const char* lmResponse;
    const char* ntResponse;
};

const NtlmExample kExamples[] = {
    // [MS-NLMP] section 4.2.2, NTLMv1 authentication example (password "Password").
    {"Password", "E52CAC67419A9A224A3B108F3FA6CB6D", "A4F49C406510BDCAB6824EE7C30FD852", "0123456789ABCDEF",
     "98DEF7B87F88AA5DAFE2DF779688A172DEF11C7D5CCDEF13", "67C43011F30298A2AD35ECE64F16331C44BDBED927841F94"},
    // E. Glass, "The NTLM Authentication Protocol and Security Support Provider", worked example
    // ("SecREt01").
    {"SecREt01", "FF3750BCC2B22412C2265B23734E0DAC", "CD06CA7C7E10C99B1D33B7485A2ED808", "0123456789ABCDEF",
     "C337CD5CBD44FC9782A667AF6D427C6DE67C20C2D3E77C56", "25A98C1C31E81847466B29B2DF4680F39958FB8C213A9CC6"},
};

TEST_F(ZrEncryptTest, HashesAndResponsesMatchPublishedNtlmExamples) {
    for (const NtlmExample& e : kExamples) {
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

TEST_F(ZrEncryptTest, LanManagerHashOfEmptyAndOverlongPasswords) {
    // The well-known hash of the empty password: the constant under seven zero bytes, twice.
    EXPECT_EQ(ToHex(ZrEncrypt::MSHash(ZrByteBuffer())), "AAD3B435B51404EEAAD3B435B51404EE");
    EXPECT_EQ(ToHex(ZrEncrypt::DES_Encrypt(Bytes("KGS!@#$%"), FromHex("00000000000000"))),
              "AAD3B435B51404EE");
    // Only the first 14 bytes count; the flag argument changes nothing; no case change inside.
    const ZrByteBuffer fourteen = Bytes("ABCDEFGHIJKLMN");
    EXPECT_EQ(ZrEncrypt::MSHash(Bytes("ABCDEFGHIJKLMNOPQRST")), ZrEncrypt::MSHash(fourteen));
    EXPECT_EQ(ZrEncrypt::MSHash(fourteen, true), ZrEncrypt::MSHash(fourteen, false));
    EXPECT_NE(ZrEncrypt::MSHash(Bytes("password")), ZrEncrypt::MSHash(Bytes("PASSWORD")));
}

TEST_F(ZrEncryptTest, ResponseCheckRejectsEveryOtherLength) {
    ZrByteBuffer hash = FromHex("CD06CA7C7E10C99B1D33B7485A2ED808");
    ZrByteBuffer challenge = FromHex("0123456789ABCDEF");
    ZrByteBuffer response;
    ZrEncrypt::Encrypt_hash(hash, challenge, response);
    ASSERT_EQ(response.Length(), 24u);
    for (uint64_t length : {0u, 8u, 16u, 23u, 25u, 32u}) {
        ZrByteBuffer other = response;
        other.SetLength(length);
        EXPECT_FALSE(ZrEncrypt::CheckNTLMPassword(other, hash, challenge)) << length;
    }
    ZrByteBuffer flipped = response;
    flipped.MutableData()[23] ^= 1;
    EXPECT_FALSE(ZrEncrypt::CheckNTLMPassword(flipped, hash, challenge));
    // Encrypt_hash appends: a second response follows the first.
    ZrEncrypt::Encrypt_hash(hash, challenge, response);
    EXPECT_EQ(response.Length(), 48u);
}

TEST_F(ZrEncryptTest, ComparePwdLowAcceptsTheStoredHashOrItsPassword) {
    ZrByteBuffer stored = ZrEncrypt::MSHash(Bytes("SECRET01"));
    ZrByteBuffer unused = FromHex("00");
    EXPECT_TRUE(ZrEncrypt::compare_pwd_low(stored, unused, Bytes("SECRET01")));
    EXPECT_FALSE(ZrEncrypt::compare_pwd_low(stored, unused, Bytes("SECRET02")));
    // A 16-byte "password" that is the stored hash itself.
    EXPECT_TRUE(ZrEncrypt::compare_pwd_low(stored, unused, stored));
    // A stored value of 15 bytes or fewer never matches a hash.
    ZrByteBuffer shortStored = stored;
    shortStored.SetLength(15);
    EXPECT_FALSE(ZrEncrypt::compare_pwd_low(shortStored, unused, Bytes("SECRET01")));
    // Up to 15 bytes the password is always hashed, even if it equals what is stored.
    EXPECT_FALSE(ZrEncrypt::compare_pwd_low(shortStored, unused, shortStored));
}

} // namespace
