// Byte-level behaviour of the converters that the comparison with glibc (one code or character at a
// time, strictly) cannot show: failure positions, recovery, byte order marks, ISO-2022-JP shifts
// across a text, and the string entry points.
#include <gtest/gtest.h>

#include <string>

#include "outcome.h"

namespace {

using namespace std::string_literals;
using namespace codeset_test;

// Malformed input per family: each row fails strictly at `position`, and with recovery gives `text`.
struct BadInput {
    unsigned id;
    const char* what;
    std::string bytes;
    uint64_t position;
    std::u16string recovered;
};

const BadInput kBadInputs[] = {
    // Big5 (GB2312 and Shift-JIS share its decoder)
    {0, "lead byte at the end", "a\xA4", 1, u"a\uFFFD"},
    {0, "trail byte out of range", "\xA4\x30x", 0, u"\uFFFD\x30x"},
    {0, "byte that starts nothing", "\xA0\xFF", 0, u"\uFFFD\uFFFD"},
    {0, "well-formed but unmapped", "\xA3\xF0z", 0, u"\uFFFDz"},
    // GB18030
    {31, "four-byte code cut after three", "\x81\x30\x81", 0, u"\uFFFD\x30\uFFFD"},
    {31, "BMP four-byte code past U+FFFF", "\x84\x31\xA5\x30", 0, u"\uFFFD"},
    {31, "four-byte code past U+10FFFF", "\xE3\x32\x9A\x36", 0, u"\uFFFD"},
    {31, "trail 7F", "\x81\x7F", 0, u"\uFFFD\x7F"},
    // EUC-JP
    {35, "8E followed by a non-kana byte", "\x8E\xE0", 0, u"\uFFFD\uFFFD"},
    {35, "JIS X 0212 cut after two bytes", "\x8F\xB0", 0, u"\uFFFD\uFFFD"},
    {35, "JIS X 0212 unmapped", "\x8F\xA1\xA1", 0, u"\uFFFD"},
    {35, "JIS X 0208 unmapped", "\xA9\xA1", 0, u"\uFFFD"},
    // ISO-2022-JP
    {36, "eight-bit byte", "a\xA4", 1, u"a\uFFFD"},
    {36, "unknown escape", "\x1B(Ia", 0, u"\uFFFD(Ia"},
    {36, "escape cut short", "\x1B$", 0, u"\uFFFD$"},
    {36, "kanji cut short", "\x1B$B\x30", 3, u"\uFFFD"},
    {36, "kanji unmapped", "\x1B$B\x29\x21\x1B(B", 3, u"\uFFFD"},
    // UTF-16
    {39, "odd byte", "\x00\x61\x00"s, 2, u"a\uFFFD"},
    {39, "lone low surrogate", "\xDC\x00\x00\x61"s, 0, u"\uFFFD\x61"},
    {39, "high surrogate at the end", "\xD8\x00"s, 0, u"\uFFFD"},
    {40, "high surrogate before a letter", "\x00\xD8\x61\x00"s, 0, u"\uFFFD\x61"},
    // UTF-8
    {42, "overlong", "\xC0\xAF", 0, u"\uFFFD\uFFFD"},
    {42, "encoded surrogate", "\xED\xA0\x80", 0, u"\uFFFD\uFFFD\uFFFD"},
    {42, "cut short", "a\xE3\x81", 1, u"a\uFFFD\uFFFD"},
    // Single-byte pages and ASCII
    {1, "eight-bit byte", "a\x80", 1, u"a\uFFFD"},
    {43, "no encoding", "a", 0, u""},
    {9, "page hole", "a\x81", 1, u"a\uFFFD"},
};

TEST(CodesetBytes, RejectsMalformedAndTruncatedInput) {
    for (const BadInput& row : kBadInputs) {
        SCOPED_TRACE(std::to_string(row.id) + ": " + row.what);
        Outcome strict = Decode(row.id, row.bytes);
        EXPECT_FALSE(strict.ok);
        EXPECT_EQ(strict.errorPosition, row.position);
        if (row.id == 43)
            continue;
        Outcome recovered = Decode(row.id, row.bytes, kZrEncOptionRecoverable);
        EXPECT_TRUE(recovered.ok);
        EXPECT_EQ(recovered.text, row.recovered);
        EXPECT_GE(recovered.failures, 1u);
    }
}

// Texts and their exact bytes, through the string entry points: shift states, byte order marks
// (written on request, dropped or honoured when read) and recovery escapes, which are written in the
// target encoding itself and only written. Rows that do not write are only read.
struct TextBytes {
    unsigned id;
    std::u16string text;
    unsigned options;
    std::string bytes;
    bool writes = true;
};

const TextBytes kTexts[] = {
    {36, u"a\u3042b", 0, "a\x1B$B\x24\x22\x1B(Bb"},
    {36, u"\u3042\u3044", 0, "\x1B$B\x24\x22\x24\x24\x1B(B"},
    {36, u"\u00A5a\\", 0, "\x1B(J\x5C\x61\x1B(B\\"},
    {36, u"\u3042\n", 0, "\x1B$B\x24\x22\x1B(B\n"},
    {36, u"\u3042\n\u3044", 0, "\x1B$B\x24\x22\n\x24\x24", false},
    {36, u"\u3042\u203E", 0, "\x1B$@\x24\x22\x1B(J\x7E", false},
    {36, u"", 0, "\x1B(B\x1B(B", false},
    {39, u"A", kZrEncOptionAddByteOrderMarker, "\xFE\xFF\x00\x41"s},
    {40, u"A", kZrEncOptionAddByteOrderMarker, "\xFF\xFE\x41\x00"s},
    {42, u"A", kZrEncOptionAddByteOrderMarker, "\xEF\xBB\xBF\x41"},
    {33, u"A", kZrEncOptionAddByteOrderMarker, "A"},
    {39, u"\uFFFE\x41", 0, "\xFF\xFE\x00\x41"s, false},
    {41, u"A", 0, "\xFE\xFF\x00\x41"s, false},
    {41, u"A", 0, "\xFF\xFE\x41\x00"s, false},
    {42, u"A\uFEFF", 0, "\xEF\xBB\xBF\x41\xEF\xBB\xBF", false},
    {5, u"\u20AC", kZrEncOptionRecoverable, "\xE0\xA4\xF2\xF0\xC1\xC3"},
    {36, u"\u3042\u00E9", kZrEncOptionRecoverable, "\x1B$B\x24\x22\x1B(B\\u00E9"},
    {0, u"\U0001F600", kZrEncOptionRecoverable, "\\uD83D\\uDE00"},
    {34, u"\u00E9", kZrEncOptionRecoverable, "\x5Cu00E9"},
    {39, std::u16string(u"\xDC00"), kZrEncOptionRecoverable, "\x00\\\x00u\x00\x44\x00\x43\x00\x30\x00\x30"s},
    {42, u"0123456789abcdefghij\U0001F600\xDC00\u65E5\xD800klmnopqrstuvwxyz", kZrEncOptionRecoverable,
     "0123456789abcdefghij\xF0\x9F\x98\x80\\uDC00\xE6\x97\xA5\\uD800klmnopqrstuvwxyz"},
    {9, u"abcdefgh\u00E9\u4E00xyz\U00010000\u20AC\xDC00!", kZrEncOptionRecoverable,
     "abcdefgh\xE9\\u4E00xyz\\uD800\\uDC00\x80\\uDC00!"},
};

TEST(CodesetBytes, TextsAndTheirBytes) {
    for (const TextBytes& row : kTexts) {
        SCOPED_TRACE(std::string(ZrCodesetConverter::GetEncodingName(row.id)) + " #" +
                     std::to_string(&row - kTexts));
        if (row.writes) {
            ZrByteBuffer out;
            EXPECT_TRUE(ZrUniString(row.text).AsEncoding(row.id, row.options, out));
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.Data()), out.Length()), row.bytes);
        }
        if (!(row.options & kZrEncOptionRecoverable)) {
            ZrUniString back;
            EXPECT_TRUE(back.CreateFrom(row.bytes.data(), row.bytes.size(), row.id, 0));
            EXPECT_EQ(std::u16string(back.View()), row.text);
        }
    }
}

TEST(CodesetBytes, ReportsWhereEncodingFails) {
    ZrUniString text(u"ab\u00E9c\u4E00");
    Outcome counted = Encode(1, text.View(), kZrEncOptionRecoverable);
    EXPECT_TRUE(counted.ok);
    EXPECT_EQ(counted.errorPosition, 2u);
    EXPECT_EQ(counted.failures, 2u);
    EXPECT_TRUE(text.AsEncoding(1, 0).IsEmpty()) << "a strict failure gives no bytes";
}

} // namespace
