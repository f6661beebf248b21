#include "foundation/crypto/zrchecksum.h"

#include <array>

namespace {

// The CRC-32 table of polynomial 0x04C11DB7, most significant bit first.
constexpr std::array<uint32_t, 256> MakeTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
        table[i] = crc;
    }
    return table;
}
constexpr std::array<uint32_t, 256> kTable = MakeTable();

inline uint32_t Feed(uint32_t crc, uint32_t byte) {
    return (crc << 8) ^ kTable[((crc >> 24) ^ byte) & 0xFFu];
}

} // namespace

uint32_t ZrCheckSum::Sum(const ZrUniString& text) {
    const uint32_t length = text.Length();
    if (length == 0)
        return 3;
    const ZrUniChar* units = text.Units();
    if (units[0] == u'.' && (length == 1 || (length == 2 && units[1] == u'.')))
        return length;
    uint32_t crc = 0;
    for (uint32_t i = 0; i < length; ++i) {
        crc = Feed(crc, units[i] & 0xFFu);
        crc = Feed(crc, units[i] >> 8);
    }
    for (uint32_t n = length; n != 0; n >>= 8)
        crc = Feed(crc, n & 0xFFu);
    // No final complement. 1 and 2 stay reserved for "." and "..", so small results move up by 3.
    return crc <= 2 ? crc + 3 : crc;
}
