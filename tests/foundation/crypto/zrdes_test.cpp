#include "foundation/crypto/zrdes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

// Only the test reaches for the reference library's low-level DES calls, which it marks deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>

#include "tests/foundation/crypto/crypto_test_util.h"

namespace {

// Restores the process-wide direction so that test order does not matter.
class ZrDESTest : public ::testing::Test {
protected:
    void SetUp() override { ZrDES::encryptdata = true; }
    void TearDown() override { ZrDES::encryptdata = true; }
};

struct KnownAnswer {
    const char* key;
    const char* plain;
    const char* cipher;
};

// Published DES known answers.
const KnownAnswer kKnownAnswers[] = {
    // Worked example of the DES algorithm in the textbook literature (Grabbe, "The DES Algorithm
    // Illustrated").
    {"133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405"},
    // FIPS 81 (DES modes of operation), ECB example, first block "Now is t".
    {"0123456789ABCDEF", "4E6F772069732074", "3FA40E8A984D4815"},
    // NBS Special Publication 500-20, variable plaintext known answer test (key 01..01).
    {"0101010101010101", "8000000000000000", "95F8A5E5DD31D900"},
    {"0101010101010101", "4000000000000000", "DD7F121CA5015619"},
    {"0101010101010101", "2000000000000000", "2E8653104F3834EA"},
    {"0101010101010101", "1000000000000000", "4BD388FF6CD81D4F"},
    {"0101010101010101", "0800000000000000", "20B9E767B2FB1456"},
    {"0101010101010101", "0400000000000000", "55579380D77138EF"},
    {"0101010101010101", "0200000000000000", "6CC5DEFAAF04512F"},
    {"0101010101010101", "0100000000000000", "0D9F279BA5D87260"},
    {"0101010101010101", "0080000000000000", "D9031B0271BD5A0A"},
    // NBS Special Publication 500-20, variable key known answer test (plaintext 0).
    {"8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
    {"4001010101010101", "0000000000000000", "0EEC1487DD8C26D5"},
    {"2001010101010101", "0000000000000000", "7AD16FFB79C45926"},
    {"1001010101010101", "0000000000000000", "D3746294CA6A6CF3"},
    {"0801010101010101", "0000000000000000", "809F5F873C1FD761"},
    {"0401010101010101", "0000000000000000", "C02FAFFEC989D1FC"},
    {"0201010101010101", "0000000000000000", "4615AA1D33E72F10"},
    // NBS Special Publication 500-20, substitution table known answer test.
    {"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
    {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
    {"07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
    {"3849674C2602319E", "51454B582DDF440A", "7178876E01F19B2A"},
    {"04B915BA43FEB5B6", "42FD443059577FA2", "AF37FB421F8C4095"},
};

TEST_F(ZrDESTest, EnciphersAndDeciphersPublishedVectors) {
    for (const KnownAnswer& v : kKnownAnswers) {
        SCOPED_TRACE(v.key + std::string(" ") + v.plain);
        kf_struct schedule;
        ZrDES::set_key(FromHex(v.key), schedule);
        ZrDES::encryptdata = true;
        EXPECT_EQ(ToHex(ZrDES::ecb_encrypt(FromHex(v.plain), schedule)), v.cipher);
        ZrDES::encryptdata = false;
        EXPECT_EQ(ToHex(ZrDES::ecb_encrypt(FromHex(v.cipher), schedule)), v.plain);
    }
}

TEST_F(ZrDESTest, WordsHoldBytesInLittleEndianOrder) {
    kf_struct schedule;
    ZrDES::set_key(FromHex("133457799BBCDFF1"), schedule);
    const uint32_t in[2] = {0x67452301u, 0xEFCDAB89u}; // bytes 01 23 45 67 | 89 AB CD EF
    uint32_t out[2];
    ZrDES::des_encrypt(in, out, schedule);
    EXPECT_EQ(out[0], 0x5413E885u); // bytes 85 E8 13 54
    EXPECT_EQ(out[1], 0x05B40A0Fu); // bytes 0F 0A B4 05
}

TEST_F(ZrDESTest, StrToKeySpreadsSevenBitsPerByteWithOddParity) {
    EXPECT_EQ(ToHex(ZrDES::str_to_key(FromHex("00000000000000"))), "0101010101010101");
    EXPECT_EQ(ToHex(ZrDES::str_to_key(FromHex("FFFFFFFFFFFFFF"))), "FEFEFEFEFEFEFEFE");
    // Bytes after the seventh take no part.
    EXPECT_EQ(ZrDES::str_to_key(FromHex("0123456789ABCDEF")), ZrDES::str_to_key(FromHex("0123456789ABCD")));

    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        unsigned char key7[7];
        for (auto& b : key7)
            b = static_cast<unsigned char>(rng());
        ZrByteBuffer wide = ZrDES::str_to_key(ZrByteBuffer(key7, 7));
        ASSERT_EQ(wide.Length(), 8u);
        uint64_t in = 0, out = 0;
        for (int i = 0; i < 7; ++i)
            in = (in << 8) | key7[i];
        for (int i = 0; i < 8; ++i) {
            out = (out << 7) | (wide[i] >> 1);
            EXPECT_EQ(__builtin_popcount(wide[i]) % 2, 1) << "byte " << i;
        }
        EXPECT_EQ(in, out);
    }
}

TEST_F(ZrDESTest, SetOddParityKeepsHighBitsAndTouchesOnlyEightBytes) {
    for (unsigned value = 0; value < 256; ++value) {
        ZrByteBuffer block;
        for (int i = 0; i < 9; ++i)
            block.AppendByte(static_cast<unsigned char>(value));
        ZrDES::set_odd_parity(block);
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(block[i] & 0xFE, value & 0xFE);
            EXPECT_EQ(__builtin_popcount(block[i]) % 2, 1);
        }
        EXPECT_EQ(block[8], value);
    }
}

TEST_F(ZrDESTest, EncryptThenDecryptRestoresTheFirstBlockOnly) {
    ZrByteBuffer key = FromHex("0123456789ABCD");
    ZrByteBuffer data = FromHex("00112233445566778899");
    ZrByteBuffer cipher = ZrDES::Encrypt_Word(key, data);
    EXPECT_TRUE(ZrDES::encryptdata);
    ASSERT_EQ(cipher.Length(), 8u);
    EXPECT_EQ(cipher, ZrDES::Encrypt_Word(key, FromHex("0011223344556677")));
    EXPECT_EQ(ToHex(ZrDES::Decrypt_Word(key, cipher)), "0011223344556677");
    EXPECT_FALSE(ZrDES::encryptdata);
}

TEST_F(ZrDESTest, CryptoWordFollowsTheDirectionFlag) {
    ZrByteBuffer key = FromHex("A1B2C3D4E5F607");
    ZrByteBuffer data = FromHex("FEDCBA9876543210");
    ZrByteBuffer enciphered = ZrDES::Encrypt_Word(key, data);
    EXPECT_EQ(ZrDES::Crypto_Word(key, data), enciphered);
    ZrByteBuffer deciphered = ZrDES::Decrypt_Word(key, data);
    EXPECT_EQ(ZrDES::Crypto_Word(key, data), deciphered);
    EXPECT_NE(enciphered, deciphered);
}

TEST_F(ZrDESTest, HashRightAfterDecipheringDeciphers) {
    const ZrByteBuffer constant = Bytes("KGS!@#$%");
    const ZrByteBuffer password = Bytes("SECRET01\0\0\0\0\0\0");
    ZrByteBuffer standard = ZrDES::hashfn(password);

    ZrDES::Decrypt_Word(FromHex("00000000000000"), constant);
    ZrByteBuffer afterDecrypt = ZrDES::hashfn(password);
    EXPECT_NE(afterDecrypt, standard);
    ZrByteBuffer expected = ZrDES::Decrypt_Word(Bytes("SECRET0"), constant);
    expected.Append(ZrDES::Decrypt_Word(Bytes(std::string("1\0\0\0\0\0\0", 7)), constant));
    EXPECT_EQ(afterDecrypt, expected);

    // Triple-DES decryption ends deciphering too; any enciphering call restores the standard hash.
    ZrDES::Triple_DES_Decrypt(constant, Bytes("1111111"), Bytes("2222222"), Bytes("3333333"));
    EXPECT_EQ(ZrDES::hashfn(password), afterDecrypt);
    ZrDES::Encrypt_Word(Bytes("1111111"), constant);
    EXPECT_EQ(ZrDES::hashfn(password), standard);
}

TEST_F(ZrDESTest, TripleDesWithOneKeyIsSingleDesAndDecryptInverts) {
    ZrByteBuffer k = FromHex("13579BDF02468A");
    ZrByteBuffer data = FromHex("0123456789ABCDEF");
    EXPECT_EQ(ZrDES::Triple_DES_Encrypt(data, k, k, k), ZrDES::Encrypt_Word(k, data));
    EXPECT_TRUE(ZrDES::encryptdata);

    ZrByteBuffer k1 = FromHex("11223344556677"), k2 = FromHex("8899AABBCCDDEE"),
                 k3 = FromHex("F0E1D2C3B4A596");
    ZrByteBuffer cipher = ZrDES::Triple_DES_Encrypt(data, k1, k2, k3);
    EXPECT_NE(cipher, ZrDES::Encrypt_Word(k1, data));
    EXPECT_EQ(ZrDES::Triple_DES_Decrypt(cipher, k1, k2, k3), data);
    EXPECT_FALSE(ZrDES::encryptdata);
}

// The reference library's schedule for a 7-byte key widened the same way.
DES_key_schedule ReferenceSchedule(const unsigned char key7[7]) {
    ZrByteBuffer wide = ZrDES::str_to_key(ZrByteBuffer(key7, 7));
    DES_cblock block;
    std::memcpy(block, wide.Data(), 8);
    DES_key_schedule schedule;
    DES_set_key_unchecked(&block, &schedule);
    return schedule;
}

TEST_F(ZrDESTest, AgreesWithReferenceLibraryOnRandomBlocks) {
    std::mt19937 rng(2024);
    for (int round = 0; round < 4000; ++round) {
        unsigned char key7[7], data[8], key8[8];
        for (auto& b : key7)
            b = static_cast<unsigned char>(rng());
        for (auto& b : data)
            b = static_cast<unsigned char>(rng());
        for (auto& b : key8)
            b = static_cast<unsigned char>(rng());
        DES_key_schedule schedule = ReferenceSchedule(key7);
        DES_cblock in, expected, expectedBack;
        std::memcpy(in, data, 8);
        DES_ecb_encrypt(&in, &expected, &schedule, DES_ENCRYPT);
        DES_ecb_encrypt(&in, &expectedBack, &schedule, DES_DECRYPT);

        ZrByteBuffer key(key7, 7), block(data, 8);
        ASSERT_EQ(ZrDES::Encrypt_Word(key, block), ZrByteBuffer(expected, 8)) << "round " << round;
        ASSERT_EQ(ZrDES::Decrypt_Word(key, block), ZrByteBuffer(expectedBack, 8)) << "round " << round;

        // Full 8-byte keys, parity bits left as they are (both sides ignore them).
        DES_cblock full;
        std::memcpy(full, key8, 8);
        DES_key_schedule fullSchedule;
        DES_set_key_unchecked(&full, &fullSchedule);
        DES_ecb_encrypt(&in, &expected, &fullSchedule, DES_ENCRYPT);
        kf_struct ours;
        ZrDES::set_key(ZrByteBuffer(key8, 8), ours);
        ZrDES::encryptdata = true;
        ASSERT_EQ(ZrDES::ecb_encrypt(block, ours), ZrByteBuffer(expected, 8)) << "round " << round;
    }
}

TEST_F(ZrDESTest, TripleDesAgreesWithReferenceEde) {
    std::mt19937 rng(99);
    for (int round = 0; round < 500; ++round) {
        unsigned char k[3][7], data[8];
        for (auto& key : k)
            for (auto& b : key)
                b = static_cast<unsigned char>(rng());
        for (auto& b : data)
            b = static_cast<unsigned char>(rng());
        DES_key_schedule s1 = ReferenceSchedule(k[0]), s2 = ReferenceSchedule(k[1]),
                         s3 = ReferenceSchedule(k[2]);
        DES_cblock in, expected;
        std::memcpy(in, data, 8);
        DES_ecb3_encrypt(&in, &expected, &s1, &s2, &s3, DES_ENCRYPT);
        ZrByteBuffer cipher = ZrDES::Triple_DES_Encrypt(ZrByteBuffer(data, 8), ZrByteBuffer(k[0], 7),
                                                        ZrByteBuffer(k[1], 7), ZrByteBuffer(k[2], 7));
        ASSERT_EQ(cipher, ZrByteBuffer(expected, 8)) << "round " << round;
    }
}

TEST_F(ZrDESTest, ShortInputsReadAsZeroPadded) {
    EXPECT_EQ(ZrDES::Encrypt_Word(FromHex("0102"), FromHex("AA")),
              ZrDES::Encrypt_Word(FromHex("01020000000000"), FromHex("AA00000000000000")));
    EXPECT_EQ(ZrDES::Encrypt_Word(ZrByteBuffer(), ZrByteBuffer()).Length(), 8u);
}

} // namespace
