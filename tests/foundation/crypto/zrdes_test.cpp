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

TEST_F(ZrDESTest, KeyWideningAndParity) {
    EXPECT_EQ(ToHex(ZrDES::str_to_key(FromHex("FFFFFFFFFFFFFF"))), "FEFEFEFEFEFEFEFE");
    EXPECT_EQ(ToHex(ZrDES::str_to_key(FromHex("0123456789ABCDEF"))), "0191D0AD794CAE9B"); // 8th unused
    // set_odd_parity keeps the high seven bits of the first eight bytes and leaves the ninth alone.
    for (unsigned value = 0; value < 256; ++value) {
        ZrByteBuffer block;
        for (int i = 0; i < 9; ++i)
            block.AppendByte(static_cast<unsigned char>(value));
        ZrDES::set_odd_parity(block);
        for (int i = 0; i < 8; ++i)
            ASSERT_TRUE((block[i] & 0xFE) == (value & 0xFE) && __builtin_popcount(block[i]) % 2 == 1)
                << value;
        ASSERT_EQ(block[8], value);
    }
}

TEST_F(ZrDESTest, WordCallsSetTheDirectionForThemselvesAndTheHash) {
    const ZrByteBuffer key = FromHex("0123456789ABCD");
    const ZrByteBuffer data = FromHex("00112233445566778899");
    const ZrByteBuffer cipher = ZrDES::Encrypt_Word(key, data);
    EXPECT_TRUE(ZrDES::encryptdata);
    EXPECT_EQ(cipher, ZrDES::Encrypt_Word(key, FromHex("0011223344556677")));
    EXPECT_EQ(ZrDES::Crypto_Word(key, data), cipher);
    EXPECT_EQ(ToHex(ZrDES::Decrypt_Word(key, cipher)), "0011223344556677");
    EXPECT_FALSE(ZrDES::encryptdata);
    EXPECT_EQ(ToHex(ZrDES::Crypto_Word(key, cipher)), "0011223344556677");
    // Short inputs read as zero-padded.
    EXPECT_EQ(ZrDES::Encrypt_Word(FromHex("0102"), FromHex("AA")),
              ZrDES::Encrypt_Word(FromHex("01020000000000"), FromHex("AA00000000000000")));
    // The hash right after a deciphering call deciphers too.
    const ZrByteBuffer constant = Bytes("KGS!@#$%"), password = Bytes("SECRET01");
    ZrByteBuffer standard = ZrDES::hashfn(password);
    ZrByteBuffer expected = ZrDES::Decrypt_Word(Bytes("SECRET0"), constant);
    expected.Append(ZrDES::Decrypt_Word(Bytes("1"), constant));
    EXPECT_EQ(ZrDES::hashfn(password), expected);
    // Any enciphering call restores the standard hash (Triple_DES_Decrypt ending in the deciphering
    // direction is checked with the reference library below).
    ZrDES::Encrypt_Word(Bytes("1111111"), constant);
    EXPECT_EQ(ZrDES::hashfn(password), standard);
}

// The reference library's schedule for a 7-byte key widened by str_to_key.
DES_key_schedule ReferenceSchedule(const ZrByteBuffer& key) {
    DES_cblock block;
    std::memcpy(block, ZrDES::str_to_key(key).Data(), 8);
    DES_key_schedule schedule;
    DES_set_key_unchecked(&block, &schedule);
    return schedule;
}

ZrByteBuffer RandomBytes(std::mt19937& rng, size_t length) {
    ZrByteBuffer out;
    for (size_t i = 0; i < length; ++i)
        out.AppendByte(static_cast<unsigned char>(rng()));
    return out;
}

TEST_F(ZrDESTest, AgreesWithReferenceLibraryOnRandomBlocks) {
    std::mt19937 rng(2024);
    for (int round = 0; round < 2000; ++round) {
        const ZrByteBuffer key = RandomBytes(rng, 7), block = RandomBytes(rng, 8);
        DES_cblock in, enc, dec, full;
        std::memcpy(in, block.Data(), 8);
        DES_key_schedule schedule = ReferenceSchedule(key);
        DES_ecb_encrypt(&in, &enc, &schedule, DES_ENCRYPT);
        DES_ecb_encrypt(&in, &dec, &schedule, DES_DECRYPT);
        ASSERT_EQ(ZrDES::Encrypt_Word(key, block), ZrByteBuffer(enc, 8)) << "round " << round;
        ASSERT_EQ(ZrDES::Decrypt_Word(key, block), ZrByteBuffer(dec, 8)) << "round " << round;

        // Triple DES with three keys: encrypt, decrypt, encrypt; decryption inverts it.
        const ZrByteBuffer k2 = RandomBytes(rng, 7), k3 = RandomBytes(rng, 7);
        DES_key_schedule s2 = ReferenceSchedule(k2), s3 = ReferenceSchedule(k3);
        DES_ecb3_encrypt(&in, &full, &schedule, &s2, &s3, DES_ENCRYPT);
        const ZrByteBuffer cipher = ZrDES::Triple_DES_Encrypt(block, key, k2, k3);
        ASSERT_EQ(cipher, ZrByteBuffer(full, 8)) << "round " << round;
        ASSERT_TRUE(ZrDES::encryptdata);
        ASSERT_EQ(ZrDES::Triple_DES_Decrypt(cipher, key, k2, k3), block) << "round " << round;
        ASSERT_FALSE(ZrDES::encryptdata);
    }
}

} // namespace
