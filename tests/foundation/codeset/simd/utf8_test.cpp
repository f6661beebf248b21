// UTF-8 block loops against the character-at-a-time code and glibc iconv: odd sequences (malformed,
// truncated, overlong, surrogates, four-byte characters) and surrogate units at every offset of a
// block and across the end of a step, random byte strings, random text, and input that ends at a page edge.
// Where the processor lacks the block loops both sides run the same code and the glibc checks remain.
#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/foundation/codeset/simd/vector_compare.h"

namespace {

namespace simd = zr_codeset::simd;

constexpr unsigned kUtf8 = 42;

using codeset_test::Decoded;
using codeset_test::Encoded;
using BlocksGuard = codeset_test::VectorGuard;

Decoded Decode(const unsigned char* p, size_t n, unsigned options, bool blocks) {
    return codeset_test::Decode(kUtf8, p, n, options, blocks);
}

Decoded Decode(const std::string& s, unsigned options, bool blocks) {
    return codeset_test::Decode(kUtf8, s, options, blocks);
}

Encoded Encode(const char16_t* units, size_t n, unsigned options, bool blocks) {
    return codeset_test::Encode(kUtf8, units, n, options, blocks);
}

Encoded Encode(const std::u16string& s, unsigned options, bool blocks) {
    return codeset_test::Encode(kUtf8, s, options, blocks);
}

const char* const kMachineUtf16 = std::endian::native == std::endian::big ? "UTF-16BE" : "UTF-16LE";

// glibc's conversion of a whole input; empty when it refuses any of it.
std::string Glibc(const char* to, const char* from, const void* in, size_t n, bool& ok) {
    iconv_t cd = iconv_open(to, from);
    EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
    std::string out(n * 3 + 16, '\0');
    char* src = static_cast<char*>(const_cast<void*>(in));
    char* dst = out.data();
    size_t srcLeft = n, dstLeft = out.size();
    ok = iconv(cd, &src, &srcLeft, &dst, &dstLeft) != static_cast<size_t>(-1) && srcLeft == 0;
    iconv_close(cd);
    out.resize(out.size() - dstLeft);
    return ok ? out : std::string();
}

std::u16string GlibcDecode(const std::string& bytes, bool& ok) {
    std::string raw = Glibc(kMachineUtf16, "UTF-8", bytes.data(), bytes.size(), ok);
    std::u16string units(raw.size() / 2, u'\0');
    std::memcpy(units.data(), raw.data(), units.size() * 2);
    return units;
}

std::string GlibcEncode(const std::u16string& units, bool& ok) {
    return Glibc("UTF-8", kMachineUtf16, units.data(), units.size() * 2, ok);
}

// Valid text of exactly `n` bytes: ASCII, two- and three-byte characters in turn, so that every
// block holds leads of each length at shifting offsets.
std::string Filler(size_t n, unsigned seed) {
    static const char* const kPieces[] = {"a", "\xC3\xA9", "\xE6\x97\xA5", "Z", "\xD0\x96", "\xEF\xBF\xBF",
                                          " "};
    std::string s;
    for (unsigned k = seed; s.size() < n; ++k) {
        std::string piece = kPieces[k % std::size(kPieces)];
        s += piece.size() <= n - s.size() ? piece : std::string(n - s.size(), 'x');
    }
    return s;
}

std::u16string FillerUnits(size_t n, unsigned seed) {
    static const char16_t kUnits[] = {u'a', u'\u00E9', u'\u65E5', u'\u07FF', u'\u0800', u'\uFFFF', u'\u0410'};
    std::u16string s;
    for (unsigned k = seed; s.size() < n; ++k)
        s += kUnits[k % std::size(kUnits)];
    return s;
}

// Each sequence at every offset of the first blocks and with 0 to 19 valid bytes after it, so that
// it also meets the end of the input and straddles the end of a block. Valid ones decode as glibc
// decodes them; malformed ones fail strictly at their first byte, whichever loop meets them.
TEST(Utf8Blocks, OddSequencesAtEveryOffset) {
    BlocksGuard guard;
    const struct {
        const char* what;
        std::string bytes;
        bool valid;
    } kRows[] = {
        {"four-byte character", "\xF0\x9F\x98\x80", true},
        {"highest character", "\xF4\x8F\xBF\xBF", true},
        {"highest three-byte forms", "\xED\x9F\xBF\xEE\x80\x80", true},
        {"lowest forms", "\xC2\x80\xE0\xA0\x80", true},
        {"stray continuation", "\x80", false},
        {"continuation BF", "\xBF", false},
        {"overlong two bytes", "\xC1\xBF", false},
        {"overlong three bytes", "\xE0\x9F\xBF", false},
        {"overlong four bytes", "\xF0\x8F\xBF\xBF", false},
        {"encoded surrogate", "\xED\xA0\x80", false},
        {"encoded low surrogate", "\xED\xBF\xBF", false},
        {"beyond U+10FFFF", "\xF4\x90\x80\x80", false},
        {"F5", "\xF5\x80\x80\x80", false},
        {"FF", "\xFF", false},
        {"two-byte lead then ASCII", "\xC3z", false},
        {"three-byte lead cut after one", "\xE6\x97z", false},
        {"three-byte lead then a lead", "\xE6\xC3\xA9", false},
        {"four-byte lead cut after two", "\xF0\x9F\x98z", false},
        {"two continuations after a two-byte lead", "\xC3\xA9\x80", false},
    };
    for (const auto& row : kRows) {
        for (size_t at = 0; at < 72; ++at) {
            for (size_t tail = 0; tail < 20; ++tail) {
                std::string before = Filler(at, static_cast<unsigned>(at)), after = Filler(tail, 3);
                std::string bytes = before + row.bytes + after;
                SCOPED_TRACE(std::string(row.what) + " at " + std::to_string(at) + ", " +
                             std::to_string(tail) + " after");
                Decoded strict = codeset_test::DecodeBothWays(kUtf8, bytes);
                ASSERT_EQ(strict.ok, row.valid);
                if (row.valid) {
                    bool glibcOk;
                    std::u16string expected = GlibcDecode(bytes, glibcOk);
                    ASSERT_TRUE(glibcOk);
                    ASSERT_EQ(strict.text, expected);
                } else {
                    // The first bad byte of "two continuations" is the second continuation.
                    size_t bad = row.bytes == "\xC3\xA9\x80" ? 2 : 0;
                    ASSERT_EQ(strict.errorPosition, at + bad);
                }
            }
        }
    }
}

// Bytes drawn mostly from the values where the classes change (continuation bounds, overlong and
// surrogate leads, four-byte leads), so that broken structure turns up everywhere in a block.
TEST(Utf8Blocks, RandomBytesDecodeAsCharacterAtATime) {
    BlocksGuard guard;
    static const unsigned char kBytes[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                                           0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC,
                                           0xED, 0xEE, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF};
    std::mt19937 rng(20240607);
    for (int round = 0; round < 20000; ++round) {
        size_t n = rng() % 80;
        unsigned validPercent = rng() % 100;
        std::string bytes;
        while (bytes.size() < n) {
            if (rng() % 100 < validPercent)
                bytes += Filler(1 + rng() % 3, static_cast<unsigned>(rng()));
            else
                bytes += static_cast<char>(kBytes[rng() % std::size(kBytes)]);
        }
        SCOPED_TRACE(round);
        Decoded strict = codeset_test::DecodeBothWays(kUtf8, bytes);
        if (::testing::Test::HasFailure())
            return;
        bool glibcOk;
        std::u16string expected = GlibcDecode(bytes, glibcOk);
        ASSERT_EQ(strict.ok, glibcOk);
        if (glibcOk) {
            ASSERT_EQ(strict.text, expected);
        }
    }
}

// Valid text of every length up to 150 characters, with characters of each length at random,
// both ways against glibc; a leading byte order mark is dropped and one is added on request.
TEST(Utf8Blocks, RandomTextBothWaysLikeGlibc) {
    BlocksGuard guard;
    simd::SetEnabled(true);
    std::mt19937 rng(77);
    for (size_t n = 0; n <= 150; ++n) {
        for (int round = 0; round < 20; ++round) {
            std::u16string units;
            unsigned asciiPercent = rng() % 101;
            while (units.size() < n) {
                unsigned pick = rng() % 100;
                if (pick < asciiPercent)
                    units += static_cast<char16_t>(rng() % 0x80);
                else if (pick % 4 == 0)
                    units += static_cast<char16_t>(0x80 + rng() % 0x780);
                else if (pick % 4 == 1 && units.size() + 2 <= n)
                    units += {static_cast<char16_t>(0xD800 + rng() % 0x400),
                              static_cast<char16_t>(0xDC00 + rng() % 0x400)};
                else
                    units +=
                        static_cast<char16_t>(pick % 2 ? 0x800 + rng() % 0xD000 : 0xE000 + rng() % 0x2000);
            }
            SCOPED_TRACE(std::to_string(n) + "/" + std::to_string(round));
            bool ok;
            std::string bytes = GlibcEncode(units, ok);
            ASSERT_TRUE(ok);
            Encoded encoded = Encode(units, 0, true);
            ASSERT_TRUE(encoded.ok);
            ASSERT_EQ(encoded.bytes, bytes);
            Decoded decoded = Decode(bytes, 0, true);
            ASSERT_TRUE(decoded.ok);
            ASSERT_EQ(decoded.text, units);
            ASSERT_EQ(Decode("\xEF\xBB\xBF" + bytes, 0, true).text, units);
            ASSERT_EQ(Encode(units, kZrEncOptionAddByteOrderMarker, true).bytes, "\xEF\xBB\xBF" + bytes);
        }
    }
}

// Unpaired surrogates (and a pair, and a pair cut by the end) at every offset; strictly the failure
// is at the lone unit, with recovery it becomes an escape, the same from both loops.
TEST(Utf8Blocks, SurrogatesAtEveryOffset) {
    BlocksGuard guard;
    const struct {
        const char* what;
        std::u16string units;
        bool valid;
        size_t bad;
    } kRows[] = {
        {"pair", u"\U0001F600", true, 0},
        {"two pairs", u"\U0010FFFF\U00010000", true, 0},
        {"lone high", u"\xD800", false, 0},
        {"lone low", u"\xDFFF", false, 0},
        {"low then high", u"\xDC00\xDBFF", false, 0},
        {"pair then lone low", u"\U0001F600\xDC00", false, 2},
        {"units around the surrogates", u"\uD7FF\uE000", true, 0},
    };
    for (const auto& row : kRows) {
        for (size_t at = 0; at < 72; ++at) {
            for (size_t tail = 0; tail < 20; ++tail) {
                std::u16string units =
                    FillerUnits(at, static_cast<unsigned>(at)) + row.units + FillerUnits(tail, 5);
                SCOPED_TRACE(std::string(row.what) + " at " + std::to_string(at) + ", " +
                             std::to_string(tail) + " after");
                Encoded strict = codeset_test::EncodeBothWays(kUtf8, units);
                ASSERT_EQ(strict.ok, row.valid);
                if (row.valid) {
                    bool glibcOk;
                    std::string expected = GlibcEncode(units, glibcOk);
                    ASSERT_TRUE(glibcOk);
                    ASSERT_EQ(strict.bytes, expected);
                } else {
                    ASSERT_EQ(strict.errorPosition, at + row.bad);
                }
            }
        }
    }
}

// Input that ends where readable memory ends: the loops may look at a whole block only through
// masks, never by touching the bytes or units past the end.
TEST(Utf8Blocks, InputEndingAtAPageEdge) {
    BlocksGuard guard;
    simd::SetEnabled(true);
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* map = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    auto* base = static_cast<unsigned char*>(map);
    ASSERT_EQ(mprotect(base + page, page, PROT_NONE), 0);
    for (size_t n = 0; n <= 70; ++n) {
        SCOPED_TRACE(n);
        std::string bytes = Filler(n, static_cast<unsigned>(n));
        unsigned char* at = base + page - n;
        std::memcpy(at, bytes.data(), n);
        Decoded decoded = Decode(at, n, 0, true);
        EXPECT_TRUE(decoded.ok);
        EXPECT_EQ(decoded.text, Decode(bytes, 0, false).text);

        std::u16string units = FillerUnits(n, static_cast<unsigned>(n));
        auto* unitsAt = reinterpret_cast<char16_t*>(base + page) - n;
        std::memcpy(unitsAt, units.data(), n * 2);
        Encoded encoded = Encode(unitsAt, n, 0, true);
        EXPECT_TRUE(encoded.ok);
        EXPECT_EQ(encoded.bytes, Encode(units, 0, false).bytes);
    }
    munmap(map, 2 * page);
}

} // namespace
