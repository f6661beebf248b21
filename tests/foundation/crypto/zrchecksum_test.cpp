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

ZrUniString Uni(const std::u16string& units) {
    return ZrUniString(std::u16string_view(units));
}

TEST(ZrCheckSumTest, ReferenceCrcIsThePosixCksumCrc) {
    // POSIX cksum check value: "123456789" gives 930766865 (bytes, then the length, then complement).
    uint32_t crc = 0;
    for (char c : std::string("123456789"))
        crc = SlowFeed(crc, static_cast<unsigned char>(c));
    crc = SlowFeed(crc, 9);
    EXPECT_EQ(~crc, 930766865u);
}

TEST(ZrCheckSumTest, FeedsUnitsLowByteFirstThenTheUnitCount) {
    // Counts of one, two (the low byte zero) and three bytes.
    // clang-format off
    const std::u16string cases[] = {
        u"...", u".a", u"a", u"alice", u"\u00e9l\u00e8ve", u"\u4e2d\u6587", u"\U0001F600",
        std::u16string(255, u'x'), std::u16string(256, u'x'), std::u16string(70000, u'y')};
    // clang-format on
    for (const auto& text : cases)
        EXPECT_EQ(ZrCheckSum::Sum(Uni(text)), SlowCrc(text)) << text.size();
    // Byte order within a unit matters: U+0100 and U+0001 differ only in which byte is fed first.
    EXPECT_NE(ZrCheckSum::Sum(Uni(u"\u0100")), ZrCheckSum::Sum(Uni(u"\u0001")));
    // Small values are reserved for the dot names and the empty name.
    EXPECT_EQ(ZrCheckSum::Sum(ZrUniString(".")), 1u);
    EXPECT_EQ(ZrCheckSum::Sum(ZrUniString("..")), 2u);
    EXPECT_EQ(ZrCheckSum::Sum(ZrUniString()), 3u);
}

// One zero-byte step run backwards. Because the polynomial has a constant term, the low byte of the
// table entries is a permutation, which identifies the top byte that was shifted out.
uint32_t UnfeedZero(uint32_t crc) {
    for (uint32_t top = 0; top < 256; ++top) {
        uint32_t entry = SlowFeed(top << 24, 0);
        if ((entry & 0xFFu) == (crc & 0xFFu))
            return (top << 24) | ((crc ^ entry) >> 8);
    }
    ADD_FAILURE() << "no preimage";
    return 0;
}

// A string "user" + two chosen units whose raw CRC is exactly `target`.
std::u16string WithRawCrc(uint32_t target) {
    std::u16string text = u"user";
    const uint32_t length = static_cast<uint32_t>(text.size() + 2);
    // Undo the count byte (6 fits one byte): feeding b is xoring b into the top byte, then a zero step.
    uint32_t beforeCount = UnfeedZero(target) ^ (length << 24);
    // Feeding four bytes w from state p is four zero steps from p ^ w.
    uint32_t mixed = beforeCount;
    for (int i = 0; i < 4; ++i)
        mixed = UnfeedZero(mixed);
    uint32_t prefix = 0;
    for (char16_t u : text) {
        prefix = SlowFeed(prefix, u & 0xFFu);
        prefix = SlowFeed(prefix, u >> 8);
    }
    uint32_t w = prefix ^ mixed;
    text += static_cast<char16_t>(((w >> 24) & 0xFFu) | (((w >> 16) & 0xFFu) << 8));
    text += static_cast<char16_t>(((w >> 8) & 0xFFu) | ((w & 0xFFu) << 8));
    return text;
}

TEST(ZrCheckSumTest, RaisesRawResultsBelowThreeByThree) {
    for (uint32_t raw : {0u, 1u, 2u, 3u, 0xFFFFFFFFu}) {
        std::u16string text = WithRawCrc(raw);
        ASSERT_EQ(SlowCrc(text), raw);
        EXPECT_EQ(ZrCheckSum::Sum(Uni(text)), raw <= 2 ? raw + 3 : raw) << raw;
    }
}

} // namespace
