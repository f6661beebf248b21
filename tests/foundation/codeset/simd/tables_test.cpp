// The vector loops of the table-driven encodings against the scalar loops they stand in for: odd codes
// (malformed bytes, holes, longer codes, shift bytes, a lead cut off by the end, the grids' last cells)
// and odd units (outside the table, above U+00FF, surrogates) at every offset of a block and across
// block ends, random text and random damage, strict and recovering, appending to a non-empty result.
// Where the processor lacks the vector loops there is nothing to compare and the tests skip.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "foundation/codeset/simd/tables.h"
#include "tests/foundation/codeset/simd/vector_compare.h"

namespace {

using namespace std::string_literals;

constexpr unsigned kBig5 = 0, kCp1252 = 9, kIbm037 = 4, kGb18030 = 31, kGb2312 = 32, kShiftJis = 34,
                   kEucJp = 35, kKoi8R = 37;

using namespace codeset_test;

// Both directions run after text already in the result, so that its base offset is not 0.
void ExpectSameDecoding(unsigned id, const std::string& bytes) {
    DecodeBothWays(id, bytes, u"<>");
}

void ExpectSameEncoding(unsigned id, const std::u16string& units) {
    EncodeBothWays(id, units, "AB");
}

// The characters of the BMP (surrogates aside) that the encoding has, by its own check.
std::vector<char16_t> Repertoire(unsigned id) {
    const ZrConverter& conv = ZrCodesetConverter::GetConverter(id);
    std::vector<char16_t> chars;
    for (uint32_t cp = 0x80; cp <= 0xFFFF; ++cp) {
        char16_t u = static_cast<char16_t>(cp);
        if ((cp < 0xD800 || cp > 0xDFFF) && conv.validateTo(&u, 1, nullptr, 0))
            chars.push_back(u);
    }
    return chars;
}

// Encoded text: a quarter ASCII, the rest drawn from the repertoire.
std::string RandomText(unsigned id, const std::vector<char16_t>& chars, size_t units, std::mt19937& rng) {
    std::u16string text;
    for (size_t k = 0; k < units; ++k)
        text += rng() % 4 == 0 ? static_cast<char16_t>('a' + rng() % 26) : chars[rng() % chars.size()];
    return Encode(id, text, 0, false).bytes;
}

// Exactly n bytes of whole characters: two-byte codes of a common ideograph, and one ASCII byte if n
// is odd.
std::string Filler(unsigned id, size_t n) {
    std::string pair = Encode(id, u"\u4E00", 0, false).bytes;
    std::string text = n % 2 ? "x" : "";
    while (text.size() < n)
        text += pair;
    return text;
}

struct OddCodes {
    unsigned id;
    std::vector<std::string> codes;
};

// Codes the vector decoder leaves to the codec or must get exactly right, by encoding.
const OddCodes kOddCodes[] = {
    {kShiftJis,
     {"\x80", "\xA0", "\xFD", "\xFF", "\x81\x20", "\x81\x7F", "\x85\x40", "\xEA\xFC", "\xEA\xA4", "\xB1",
      "\x5C\x7E", "\x81", "\x81\x81\x81"}},
    {kBig5, {"\x80", "\xA0\xA1", "\xFF", "\xA1\x30", "\xA1\x7F", "\xF9\xFE", "\xF9\xD5", "\xC8\x40", "\xA1"}},
    {kGb2312, {"\x80", "\xA1\x40", "\xA1\xA1", "\xF7\xFE", "\xAA\xA1", "\xFF\xA1", "\xB0"}},
    {kGb18030,
     {"\x81\x30\x81\x30", "\x90\x30\x81\x30", "\x84\x31\xA4\x39", "\x81\x30\x81", "\x81\x30\x20", "\x81\x7F",
      "\x80", "\xFF", "\xFE\xFE", "\xFE\x51", "\xA1\x40", "\x81\x40", "\x81", "\x81\x39\xFE\x39"}},
    {kEucJp,
     {"\x8E\xB1", "\x8E\xE0", "\x8E", "\x8F\xB0\xA1", "\x8F\xA2\xAF", "\x8F\xA1\xA1", "\x8F\xB0", "\x8F",
      "\x8F\x41\x41", "\x8F\x8F\xB0\xA1", "\x8F\xED\xFE", "\x8F\xB0\xA1\x8F\xB0\xA2", "\x80", "\xA1\x41",
      "\xF5\xA1", "\xFE\xFE", "\xF4\xFE", "\xA9\xA1", "\xA1"}},
};

TEST(TableBlocks, OddCodesAtEveryOffsetAndAtTheEnd) {
    if (!simd::Supported())
        GTEST_SKIP() << "no vector loops on this processor";
    VectorGuard guard;
    for (const OddCodes& odd : kOddCodes) {
        for (const std::string& code : odd.codes) {
            // Across the first two block ends, with text after it and with the code last.
            for (size_t at = 0; at <= 140; ++at) {
                ExpectSameDecoding(odd.id, Filler(odd.id, at) + code + Filler(odd.id, 70));
                ExpectSameDecoding(odd.id, Filler(odd.id, at) + code);
            }
        }
    }
}

TEST(TableBlocks, RandomTextAndDamageDecodeAsTheCodecDoes) {
    if (!simd::Supported())
        GTEST_SKIP() << "no vector loops on this processor";
    VectorGuard guard;
    std::mt19937 rng(20240611);
    for (unsigned id : {kShiftJis, kBig5, kGb2312, kGb18030, kEucJp, kCp1252, kIbm037, kKoi8R}) {
        const std::vector<char16_t> chars = Repertoire(id);
        for (int round = 0; round < 300; ++round) {
            std::string text = RandomText(id, chars, rng() % 150, rng);
            ExpectSameDecoding(id, text);
            // A few bytes overwritten at random, then the text cut anywhere.
            for (int k = rng() % 4; k > 0 && !text.empty(); --k)
                text[rng() % text.size()] = static_cast<char>(rng());
            ExpectSameDecoding(id, text);
            ExpectSameDecoding(id, text.substr(0, text.empty() ? 0 : rng() % text.size()));
        }
    }
}

TEST(TableBlocks, RandomBytesDecodeAsTheCodecDoes) {
    if (!simd::Supported())
        GTEST_SKIP() << "no vector loops on this processor";
    VectorGuard guard;
    std::mt19937 rng(77);
    for (unsigned id : {kShiftJis, kBig5, kGb2312, kGb18030, kEucJp, kCp1252, kIbm037, kKoi8R}) {
        for (int round = 0; round < 200; ++round) {
            std::string bytes(rng() % 200, '\0');
            // Mostly high bytes, where the leads and trails are.
            for (char& b : bytes)
                b = static_cast<char>(rng() % 3 ? 0x80 + rng() % 0x80 : rng() % 0x100);
            ExpectSameDecoding(id, bytes);
        }
    }
}

struct OddUnits {
    unsigned id;
    std::u16string units; // each one a case of its own
};

// Units the vector encoder leaves to the codec: outside the table, above the block it keeps in
// registers, surrogates paired and alone, U+0000, and characters of one-byte codes among two-byte ones.
const OddUnits kOddUnits[] = {
    {kCp1252, u"\u0100\u20AC\u2019\u0081\u0000\uFFFF\u00FF\u0080"s},
    {kIbm037, u"\u0100\u00FF\u0000\u00A4\u20AC"s},
    {kKoi8R, u"\u0410\u00FF\u00A0\u2500\u0000"s},
    {kShiftJis, u"\u00A5\u203E\u005C\u007E\uFF71\u0080\u0000\u4E02\uFFFF"s},
    {kBig5, u"\u0080\u00A7\u0000\uFFFF\u3000"s},
    {kGb2312, u"\u0080\u00B7\u0000\u4E02\uFFFF"s},
    {kGb18030, u"\u0080\u00A5\u20AC\u0000\uE5E5\uFFFF\u4E02"s},
    {kEucJp, u"\u00A5\uFF71\u4E02\u0080\u0000\uFFFF"s},
};

TEST(TableBlocks, OddUnitsAtEveryOffsetAndAtTheEnd) {
    if (!simd::Supported())
        GTEST_SKIP() << "no vector loops on this processor";
    VectorGuard guard;
    for (const OddUnits& odd : kOddUnits) {
        const std::u16string filler(
            150, odd.id == kCp1252 || odd.id == kIbm037 || odd.id == kKoi8R ? u'\u00E9' : u'\u4E00');
        std::vector<std::u16string> cases;
        for (char16_t u : odd.units)
            cases.push_back(std::u16string(1, u));
        cases.push_back({char16_t(0xD800)});                   // alone
        cases.push_back({char16_t(0xD840), char16_t(0xDC00)}); // a pair: beyond every table's grid
        cases.push_back({char16_t(0xDC00), char16_t(0xD800)}); // the halves the wrong way round
        for (const std::u16string& unit : cases) {
            for (size_t at = 0; at <= 140; ++at) {
                ExpectSameEncoding(odd.id, filler.substr(0, at) + unit + filler.substr(0, 70));
                // Appended rather than prefixed: g++ 12 at -O3 warns of a false overlap in insert().
                ExpectSameEncoding(odd.id, std::u16string(u"a").append(filler, 0, at) + unit);
            }
        }
    }
}

TEST(TableBlocks, RandomUnitsEncodeAsTheCodecDoes) {
    if (!simd::Supported())
        GTEST_SKIP() << "no vector loops on this processor";
    VectorGuard guard;
    std::mt19937 rng(4242);
    for (unsigned id : {kShiftJis, kBig5, kGb2312, kGb18030, kEucJp, kCp1252, kIbm037, kKoi8R}) {
        const std::vector<char16_t> chars = Repertoire(id);
        for (int round = 0; round < 300; ++round) {
            std::u16string units(rng() % 150, u'\0');
            for (char16_t& u : units) {
                unsigned pick = rng() % 16;
                u = pick < 4    ? static_cast<char16_t>(rng() % 0x80)
                    : pick < 14 ? chars[rng() % chars.size()]
                                : static_cast<char16_t>(rng()); // anything, surrogates too
            }
            ExpectSameEncoding(id, units);
        }
    }
}

TEST(TableBlocks, LongTextRoundTrips) {
    if (!simd::Supported())
        GTEST_SKIP() << "no vector loops on this processor";
    VectorGuard guard;
    std::mt19937 rng(9);
    for (unsigned id : {kShiftJis, kBig5, kGb18030, kEucJp, kCp1252}) {
        // Without U+0080-U+009F, which EUC-JP writes as single bytes but does not read back.
        std::vector<char16_t> chars = Repertoire(id);
        std::erase_if(chars, [](char16_t u) { return u < 0xA0; });
        std::u16string units;
        for (int k = 0; k < 20000; ++k)
            units += rng() % 4 == 0 ? static_cast<char16_t>('a' + rng() % 26) : chars[rng() % chars.size()];
        Encoded encoded = Encode(id, units, 0, true);
        ASSERT_TRUE(encoded.ok) << id;
        EXPECT_TRUE(encoded == Encode(id, units, 0, false)) << id;
        Decoded decoded = Decode(id, encoded.bytes, 0, true);
        ASSERT_TRUE(decoded.ok) << id << " at " << decoded.errorPosition;
        EXPECT_EQ(decoded.text, units) << id;
    }
}

} // namespace
