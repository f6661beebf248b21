// The vector loops (UTF-8 and the table-driven encodings) against the scalar code they stand in for.
// Every conversion runs with the vector loops and without, strictly and recovering, appending to an
// empty or a non-empty result; everything a caller can see must agree (result, text or bytes,
// failure position and count). Odd codes and units go at every offset of the first blocks with the
// input ending at several distances after them; random bytes, random text and random damage follow.
// Where the processor lacks the vector loops both sides run the same code and the tests skip.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../outcome.h"
#include "foundation/codeset/simd/vector_switch.h"

namespace {

using namespace std::string_literals;
using namespace codeset_test;
namespace simd = zr_codeset::simd;

constexpr unsigned kBig5 = 0, kIbm037 = 5, kCp1252 = 9, kGb18030 = 31, kGb2312 = 32, kShiftJis = 34,
                   kEucJp = 35, kKoi8R = 37, kUtf8 = 42;
constexpr unsigned kVectorEncodings[] = {kUtf8,  kShiftJis, kBig5,   kGb2312, kGb18030,
                                         kEucJp, kCp1252,   kIbm037, kKoi8R};

// Both loops, strictly and recovering: all must agree, recovery always succeeds and fails somewhere
// exactly when the strict conversion does.
template <typename Convert> void ExpectSameBothWays(const Convert& convert) {
    auto run = [&](unsigned options, bool vector) {
        simd::SetEnabled(vector);
        return convert(options);
    };
    Outcome strict = run(0, true);
    EXPECT_EQ(strict, run(0, false));
    Outcome recovered = run(kZrEncOptionRecoverable, true);
    EXPECT_EQ(recovered, run(kZrEncOptionRecoverable, false));
    EXPECT_TRUE(recovered.ok);
    EXPECT_EQ(recovered.failures == 0, strict.ok);
}

// `after`: appended to a result that already holds something.
void ExpectSameDecoding(unsigned id, std::string_view bytes, bool after = false) {
    SCOPED_TRACE(std::to_string(id) + ": bytes " + Hex(bytes));
    ExpectSameBothWays([&](unsigned options) { return Decode(id, bytes, options, after ? u"<>" : u""); });
}

void ExpectSameEncoding(unsigned id, std::u16string_view units, bool after = false) {
    SCOPED_TRACE(std::to_string(id) + ": units " +
                 Hex({reinterpret_cast<const char*>(units.data()), 2 * units.size()}));
    ExpectSameBothWays([&](unsigned options) { return Encode(id, units, options, after ? "AB" : ""); });
}

std::string EncodeScalar(unsigned id, const std::u16string& units) {
    simd::SetEnabled(false);
    return Encode(id, units).bytes;
}

// The BMP characters (surrogates aside) the encoding has, by its own check.
std::vector<char16_t> Repertoire(unsigned id) {
    std::vector<char16_t> chars;
    for (uint32_t cp = 0x80; cp <= 0xFFFF; ++cp) {
        char16_t u = static_cast<char16_t>(cp);
        if ((cp < 0xD800 || cp > 0xDFFF) &&
            ZrCodesetConverter::GetConverter(id).validateTo(&u, 1, nullptr, 0))
            chars.push_back(u);
    }
    return chars;
}

// Exactly n bytes of whole characters of one, two and three bytes in turn, padded with ASCII.
std::string Filler(unsigned id, size_t n) {
    std::string text;
    for (size_t k = n; text.size() < n; ++k) {
        std::string piece = EncodeScalar(id, std::u16string(1, u"a\u00E9\u65E5Z\u0416\u4E00 "[k % 7]));
        text += !piece.empty() && piece.size() <= n - text.size() ? piece : "x";
    }
    return text;
}

std::u16string FillerUnits(unsigned id, size_t n) {
    std::u16string text;
    for (size_t k = n; text.size() < n; ++k) {
        char16_t u = u"a\u00E9\u65E5\u07FF\u0800\u4E00\u0416"[k % 7];
        text += EncodeScalar(id, std::u16string(1, u)).empty() ? u'y' : u;
    }
    return text;
}

// Codes the vector decoders leave to the scalar code or must get exactly right.
const struct {
    unsigned id;
    std::vector<std::string> codes;
} kOddCodes[] = {
    {kUtf8,
     {"\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF", "\xED\x9F\xBF\xEE\x80\x80", "\xC2\x80\xE0\xA0\x80", "\x80",
      "\xBF", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
      "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3z", "\xE6\x97z", "\xE6\xC3\xA9", "\xF0\x9F\x98z",
      "\xC3\xA9\x80"}},
    {kShiftJis,
     {"\x80", "\xA0", "\xFD", "\xFF", "\x81\x20", "\x81\x7F", "\x85\x40", "\xEA\xFC", "\xEA\xA4", "\xB1",
      "\x5C\x7E", "\x81", "\x81\x81\x81"}},
    {kBig5, {"\x80", "\xA0\xA1", "\xFF", "\xA1\x30", "\xA1\x7F", "\xF9\xFE", "\xF9\xD5", "\xC8\x40", "\xA1"}},
    {kGb2312, {"\x80", "\xA1\x40", "\xA1\xA1", "\xF7\xFE", "\xAA\xA1", "\xFF\xA1", "\xB0"}},
    {kGb18030,
     {"\x81\x30\x81\x30", "\x90\x30\x81\x30", "\x84\x31\xA4\x39", "\x81\x30\x81", "\x81\x30\x20", "\x81\x7F",
      "\x80", "\xFF", "\xFE\xFE", "\xFE\x51", "\xA1\x40", "\x81\x40", "\x81", "\x81\x39\xFE\x39"}},
    {kEucJp, {"\x8E\xB1",     "\x8E\xE0",         "\x8E",         "\x8F\xB0\xA1",
              "\x8F\xA2\xAF", "\x8F\xA1\xA1",     "\x8F\xB0",     "\x8F",
              "\x8F\x41\x41", "\x8F\x8F\xB0\xA1", "\x8F\xED\xFE", "\x8F\xB0\xA1\x8F\xB0\xA2",
              "\x80",         "\x9F\x8F\xB0\xA1", "\xA0",         "\xA1\x41",
              "\xF5\xA1",     "\xFE\xFE",         "\xF4\xFE",     "\xA9\xA1",
              "\xA1"}},
    {kCp1252, {"\x81", "\x80\x81", "\x8D\x8F\x90\x9D"}},
};

// Units the vector encoders leave to the scalar code: outside the table, above the block kept in
// registers, U+0000, one-byte characters among longer ones; every encoding also gets a lone
// surrogate, a pair and a pair the wrong way round.
const struct {
    unsigned id;
    std::u16string units; // each one a case of its own
} kOddUnits[] = {
    {kUtf8, u"\u07FF\u0800\uFFFF\u0080"s},
    {kCp1252, u"\u0100\u20AC\u2019\u0081\u0000\uFFFF\u00FF\u0080"s},
    {kIbm037, u"\u0100\u00FF\u0000\u00A4\u20AC"s},
    {kKoi8R, u"\u0410\u00FF\u00A0\u2500\u0000"s},
    {kShiftJis, u"\u00A5\u203E\u005C\u007E\uFF71\u0080\u0000\u4E02\uFFFF"s},
    {kBig5, u"\u0080\u00A7\u0000\uFFFF\u3000"s},
    {kGb2312, u"\u0080\u00B7\u0000\u4E02\uFFFF"s},
    {kGb18030, u"\u0080\u00A5\u20AC\u0000\uE5E5\uFFFF\u4E02"s},
    {kEucJp, u"\u00A5\uFF71\u4E02\u0080\u009F\u0000\uFFFF"s},
};

class VectorLoops : public ::testing::Test {
protected:
    void SetUp() override {
        if (!simd::Supported())
            GTEST_SKIP() << "no vector loops on this processor";
    }
    void TearDown() override { simd::SetEnabled(m_was); }
    bool m_was = simd::Enabled();
};

// Across the first two block ends, with the input ending 0 to 70 bytes or units after the case.
constexpr size_t kTails[] = {0, 1, 2, 3, 7, 19, 70};

TEST_F(VectorLoops, OddCodesAtEveryOffset) {
    for (const auto& odd : kOddCodes)
        for (const std::string& code : odd.codes)
            for (size_t at = 0; at <= 140; ++at)
                for (size_t tail : kTails)
                    ExpectSameDecoding(odd.id, Filler(odd.id, at) + code + Filler(odd.id, tail), at % 2);
}

TEST_F(VectorLoops, OddUnitsAtEveryOffset) {
    for (const auto& odd : kOddUnits) {
        std::vector<std::u16string> cases = {u"\xD800"s, u"\xDFFF"s, u"\xD840\xDC00"s, u"\xDC00\xD800"s};
        for (char16_t u : odd.units)
            cases.push_back(std::u16string(1, u));
        for (const std::u16string& unit : cases)
            for (size_t at = 0; at <= 140; ++at)
                for (size_t tail : kTails)
                    ExpectSameEncoding(odd.id, FillerUnits(odd.id, at) + unit + FillerUnits(odd.id, tail),
                                       at % 2);
    }
}

// Random text of the encoding's own characters, then a few bytes overwritten and the text cut
// anywhere; random bytes drawn mostly from the high half, where the leads and trails are; random
// units, mostly the encoding's, some anything (surrogates too).
TEST_F(VectorLoops, RandomInputConvertsAsTheScalarCodeDoes) {
    std::mt19937 rng(20240611);
    for (unsigned id : kVectorEncodings) {
        const std::vector<char16_t> chars = Repertoire(id);
        for (int round = 0; round < 300; ++round) {
            std::u16string units(rng() % 150, u'\0');
            for (char16_t& u : units) {
                unsigned pick = rng() % 16;
                u = pick < 4    ? static_cast<char16_t>(rng() % 0x80)
                    : pick < 14 ? chars[rng() % chars.size()]
                                : static_cast<char16_t>(rng());
            }
            ExpectSameEncoding(id, units, round % 2);
            std::erase_if(units, [](char16_t u) { return u >= 0xD800 && u <= 0xDFFF; });
            std::string text = EncodeScalar(id, units);
            ExpectSameDecoding(id, text);
            for (int k = rng() % 4; k > 0 && !text.empty(); --k)
                text[rng() % text.size()] = static_cast<char>(rng());
            ExpectSameDecoding(id, text, true);
            ExpectSameDecoding(id, text.substr(0, text.empty() ? 0 : rng() % text.size()));
            std::string bytes(rng() % 200, '\0');
            for (char& b : bytes)
                b = static_cast<char>(rng() % 3 ? 0x80 + rng() % 0x80 : rng() % 0x100);
            ExpectSameDecoding(id, bytes, round % 2);
        }
    }
}

// Input that ends where readable memory ends: the loops may look at a whole block only through
// masks, never by touching the bytes or units past the end.
TEST_F(VectorLoops, InputEndingAtAPageEdge) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* map = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    auto* base = static_cast<unsigned char*>(map);
    ASSERT_EQ(mprotect(base + page, page, PROT_NONE), 0);
    for (unsigned id : kVectorEncodings) {
        for (size_t n = 0; n <= 140; ++n) {
            std::string bytes = Filler(id, n);
            std::memcpy(base + page - n, bytes.data(), n);
            ExpectSameDecoding(id, {reinterpret_cast<const char*>(base + page - n), n});
            std::u16string units = FillerUnits(id, n / 2);
            auto* unitsAt = reinterpret_cast<char16_t*>(base + page) - units.size();
            std::memcpy(unitsAt, units.data(), units.size() * 2);
            ExpectSameEncoding(id, {unitsAt, units.size()});
        }
    }
    munmap(map, 2 * page);
}

} // namespace
