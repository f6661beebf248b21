#include "foundation/crypto/zrchecksum.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Bit-at-a-time CRC of polynomial 0x04C11DB7, most significant bit first: a second derivation of the
// table-driven code, kept deliberately naive.
uint32_t SlowFeed(uint32_t crc, unsigned byte) {
    crc ^= static_cast<uint32_t>(byte & 0xFFu) << 24;
    for (int bit = 0; bit < 8; ++bit)
        crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
    return crc;
}

uint32_t SlowCrc(const std::u16string& units) {
    uint32_t crc = 0;
    for (char16_t u : units) {
        crc = SlowFeed(crc, u & 0xFFu);
        crc = SlowFeed(crc, u >> 8);
    }
    for (uint32_t n = static_cast<uint32_t>(units.size()); n != 0; n >>= 8)
        crc = SlowFeed(crc, n & 0xFFu);
    return crc;
}

TEST(ZrCheckSumTest, FeedsUnitsLowByteFirstThenTheUnitCount) {
    // The reference is the POSIX cksum CRC: "123456789" gives 930766865 (bytes, then the length, then
    // complement).
    uint32_t crc = 0;
    for (char c : std::string("123456789"))
        crc = SlowFeed(crc, static_cast<unsigned char>(c));
    ASSERT_EQ(~SlowFeed(crc, 9), 930766865u);
    // Counts of one, two (the low byte zero) and three bytes.
    // clang-format off
    const std::u16string cases[] = {
        u"...", u".a", u"a", u"alice", u"\u00e9l\u00e8ve", u"\u4e2d\u6587", u"\U0001F600",
        std::u16string(255, u'x'), std::u16string(256, u'x'), std::u16string(70000, u'y')};
    // clang-format on
    for (const auto& text : cases)
        EXPECT_EQ(ZrCheckSum::Sum(ZrUniString(text)), SlowCrc(text)) << text.size();
    // Small values are reserved for the dot names and the empty name.
    EXPECT_EQ(ZrCheckSum::Sum(ZrUniString(".")), 1u);
    EXPECT_EQ(ZrCheckSum::Sum(ZrUniString("..")), 2u);
    EXPECT_EQ(ZrCheckSum::Sum(ZrUniString()), 3u);
}

// Names whose raw CRC is 0, 1, 2 and 3: the last two units were solved for by running the CRC
// backwards from the wanted value (each is checked against the reference first).
TEST(ZrCheckSumTest, RaisesRawResultsBelowThreeByThree) {
    const std::u16string texts[] = {u"alice\u46BA\uB828", u"alice\u3547\u6FAC", u"alice\u6044\uA13C",
                                    u"alice\u13B9\u76B8"};
    for (uint32_t raw = 0; raw < 4; ++raw) {
        ASSERT_EQ(SlowCrc(texts[raw]), raw);
        EXPECT_EQ(ZrCheckSum::Sum(ZrUniString(texts[raw])), raw <= 2 ? raw + 3 : raw) << raw;
    }
}

} // namespace
