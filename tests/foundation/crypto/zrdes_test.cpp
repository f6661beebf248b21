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

// The agent's 7-byte keys become DES keys with every eighth bit unused.
TEST_F(ZrDESTest, KeyWidening) {
    EXPECT_EQ(ToHex(ZrDES::str_to_key(FromHex("FFFFFFFFFFFFFF"))), "FEFEFEFEFEFEFEFE");
    EXPECT_EQ(ToHex(ZrDES::str_to_key(FromHex("0123456789ABCDEF"))), "0191D0AD794CAE9B"); // 8th unused
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

// Both directions of the one-block cipher against the reference library.
TEST_F(ZrDESTest, AgreesWithReferenceLibraryOnRandomBlocks) {
    std::mt19937 rng(2024);
    for (int round = 0; round < 2000; ++round) {
        const ZrByteBuffer key = RandomBytes(rng, 7), block = RandomBytes(rng, 8);
        DES_cblock in, enc, dec;
        std::memcpy(in, block.Data(), 8);
        DES_key_schedule schedule = ReferenceSchedule(key);
        DES_ecb_encrypt(&in, &enc, &schedule, DES_ENCRYPT);
        DES_ecb_encrypt(&in, &dec, &schedule, DES_DECRYPT);
        ASSERT_EQ(ZrDES::Encrypt_Word(key, block), ZrByteBuffer(enc, 8)) << "round " << round;
        ASSERT_EQ(ZrDES::Decrypt_Word(key, block), ZrByteBuffer(dec, 8)) << "round " << round;
    }
}

} // namespace
