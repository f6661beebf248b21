// Byte-level behaviour of the converters: invalid and truncated input for every multi-byte family,
// recovery, byte order marks, ISO-2022-JP shifts, failure positions, and the string entry points.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "foundation/codeset/zrcodesetconverter.h"

namespace {

using namespace std::string_literals;

std::string Bytes(const ZrByteBuffer& b) {
    return std::string(reinterpret_cast<const char*>(b.Data()), b.Length());
}

ZrUniString Units(std::u16string_view s) {
    return ZrUniString(s);
}

struct Decoded {
    bool ok;
    std::u16string text;
    ZrCodesetInfo info;
};

Decoded Decode(unsigned id, const std::string& bytes, unsigned options = 0) {
    ZrUniString s;
    Decoded d;
    d.ok = ZrCodesetConverter::GetConverter(id).from(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                     bytes.size(), s, &d.info, options);
    d.text = std::u16string(s.View());
    return d;
}

// Malformed input per family: each row fails strictly at `position`, and with recovery gives `text`.
struct BadInput {
    unsigned id;
    const char* what;
    std::string bytes;
    uint64_t position;
    std::u16string recovered;
};

const BadInput kBadInputs[] = {
    // Big5
    {0, "lead byte at the end", "a\xA4", 1, u"a\uFFFD"},
    {0, "trail byte out of range", "\xA4\x30x", 0, u"\uFFFD\x30x"},
    {0, "byte that starts nothing", "\xA0\xFF", 0, u"\uFFFD\uFFFD"},
    {0, "well-formed but unmapped", "\xA3\xF0z", 0, u"\uFFFDz"},
    // GB2312
    {32, "lead byte at the end", "\xB0\xA1\xB0", 2, u"\u554A\uFFFD"},
    {32, "ASCII after a lead byte", "\xB0\x41", 0, u"\uFFFD\x41"},
    {32, "unmapped row", "\xAA\xA1", 0, u"\uFFFD"},
    // GB18030
    {31, "four-byte code cut after two", "\x81\x30", 0, u"\uFFFD\x30"},
    {31, "four-byte code cut after three", "\x81\x30\x81", 0, u"\uFFFD\x30\uFFFD"},
    {31, "bad third byte", "\x81\x30\x20\x30", 0, u"\uFFFD\x30 \x30"},
    {31, "BMP four-byte code past U+FFFF", "\x84\x31\xA5\x30", 0, u"\uFFFD"},
    {31, "gap between BMP and the planes", "\x85\x30\x81\x30", 0, u"\uFFFD"},
    {31, "four-byte code past U+10FFFF", "\xE3\x32\x9A\x36", 0, u"\uFFFD"},
    {31, "trail 7F", "\x81\x7F", 0, u"\uFFFD\x7F"},
    // Shift-JIS
    {34, "trail byte out of range", "\x82\x20", 0, u"\uFFFD "},
    {34, "unmapped lead F0", "\xF0\x40", 0, u"\uFFFD@"},
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
    {42, "encoded last low surrogate", "\xED\xBF\xBF", 0, u"\uFFFD\uFFFD\uFFFD"},
    {42, "cut short", "a\xE3\x81", 1, u"a\uFFFD\uFFFD"},
    // Single-byte pages and ASCII
    {1, "eight-bit byte", "a\x80", 1, u"a\uFFFD"},
    {43, "no encoding", "a", 0, u""},
    // Met inside longer text, where the block and run loops meet them.
    {0, "FF between ideographs",
     "ab\xA4\x40"
     "cd\xA4\x40\xFF\xA4\x40"
     "efgh",
     8, u"ab\u4E00cd\u4E00\uFFFD\u4E00efgh"},
    {34, "cut four-byte form",
     "ab\x88\xEA"
     "cd\x88\xEA\x81\x30z\x88\xEA",
     8, u"ab\u4E00cd\u4E00\uFFFD0z\u4E00"},
    {9, "page holes", "abcdefgh\xE9\x81xyz\x81\x80", 9, u"abcdefgh\u00E9\uFFFDxyz\uFFFD\u20AC"},
    {42, "overlong",
     "abcd\xC3\xA9\xE0\x9F\xBF"
     "0123456789abcdefghij",
     6, u"abcd\u00E9\uFFFD\uFFFD\uFFFD0123456789abcdefghij"},
    {42, "cut short", "abcd\xC3\xA9\xF0\x9F\x98z0123456789abcdefghij", 6,
     u"abcd\u00E9\uFFFD\uFFFD\uFFFDz0123456789abcdefghij"},
};

TEST(CodesetBytes, RejectsMalformedAndTruncatedInput) {
    for (const BadInput& row : kBadInputs) {
        SCOPED_TRACE(std::string(ZrCodesetConverter::GetEncodingName(row.id)
                                     ? ZrCodesetConverter::GetEncodingName(row.id)
                                     : "none") +
                     ": " + row.what);
        Decoded strict = Decode(row.id, row.bytes);
        EXPECT_FALSE(strict.ok);
        EXPECT_EQ(strict.info.errorPosition, row.position);
        ZrCodesetInfo info;
        EXPECT_FALSE(ZrCodesetConverter::ValidateFrom(row.bytes.data(), row.bytes.size(), &info, row.id, 0));
        EXPECT_EQ(info.errorPosition, row.position);
        if (row.id == 43)
            continue;
        Decoded recovered = Decode(row.id, row.bytes, kZrEncOptionRecoverable);
        EXPECT_TRUE(recovered.ok);
        EXPECT_EQ(recovered.text, row.recovered);
        EXPECT_GE(recovered.info.failures, 1u);
    }
}

// Encoders write into a buffer sized from the text; recovery escapes take more than that and must
// grow it, however many there are.
TEST(CodesetBytes, RecoveryEscapesOutgrowTheEstimate) {
    for (unsigned id : {0u, 34u, 9u, 42u}) {
        char16_t unit = id == 9 ? u'\u4E00' : id == 42 ? u'\xDC00' : u'\u0E01';
        std::string escape = id == 9 ? "\\u4E00" : id == 42 ? "\\uDC00" : "\\u0E01", expected;
        for (int k = 0; k < 1000; ++k)
            expected += escape;
        ZrUniString text = Units(std::u16string(1000, unit) + u"x");
        ZrByteBuffer out;
        ZrCodesetInfo info;
        ASSERT_TRUE(ZrCodesetConverter::GetConverter(id).to(text.Units(), text.Length(), out, &info,
                                                            kZrEncOptionRecoverable));
        EXPECT_EQ(Bytes(out), expected + "x") << id;
        EXPECT_EQ(info.failures, 1000u);
    }
}

// Byte-exact encodings of short texts where a character-by-character check against iconv says too
// little: shift states, surrogate pairs, byte order marks and recovery escapes.
struct Encoded {
    unsigned id;
    std::u16string text;
    unsigned options;
    std::string bytes;
};

const Encoded kEncodings[] = {
    {36, u"a\u3042b", 0, "a\x1B$B\x24\x22\x1B(Bb"},
    {36, u"\u3042\u3044", 0, "\x1B$B\x24\x22\x24\x24\x1B(B"},
    {36, u"\u00A5a\\", 0, "\x1B(J\x5C\x61\x1B(B\\"},
    {36, u"\u3042\n", 0, "\x1B$B\x24\x22\x1B(B\n"},
    {39, u"A\U0001F600", 0, "\x00\x41\xD8\x3D\xDE\x00"s},
    {40, u"A\U0001F600", 0, "A\x00\x3D\xD8\x00\xDE"s},
    {39, u"A", kZrEncOptionAddByteOrderMarker, "\xFE\xFF\x00\x41"s},
    {40, u"A", kZrEncOptionAddByteOrderMarker, "\xFF\xFE\x41\x00"s},
    {42, u"A", kZrEncOptionAddByteOrderMarker, "\xEF\xBB\xBF\x41"},
    {33, u"A", kZrEncOptionAddByteOrderMarker, "A"},
    // Recovery writes the escape in the target encoding itself.
    {1, u"a\u00E9b", kZrEncOptionRecoverable, "a\\u00E9b"},
    {5, u"\u20AC", kZrEncOptionRecoverable, "\xE0\xA4\xF2\xF0\xC1\xC3"},
    {36, u"\u3042\u00E9", kZrEncOptionRecoverable, "\x1B$B\x24\x22\x1B(B\\u00E9"},
    {0, u"\U0001F600", kZrEncOptionRecoverable, "\\uD83D\\uDE00"},
    {34, u"\u00E9", kZrEncOptionRecoverable, "\x5Cu00E9"},
    {42, u"\xD800x", kZrEncOptionRecoverable, "\\uD800x"},
    {39, std::u16string(u"\xDC00"), kZrEncOptionRecoverable, "\x00\\\x00u\x00\x44\x00\x43\x00\x30\x00\x30"s},
    {42, u"0123456789abcdefghij\U0001F600\xDC00\u65E5\xD800klmnopqrstuvwxyz", kZrEncOptionRecoverable,
     "0123456789abcdefghij\xF0\x9F\x98\x80\\uDC00\xE6\x97\xA5\\uD800klmnopqrstuvwxyz"},
    {9, u"abcdefgh\u00E9\u4E00xyz\U00010000\u20AC\xDC00!", kZrEncOptionRecoverable,
     "abcdefgh\xE9\\u4E00xyz\\uD800\\uDC00\x80\\uDC00!"},
    {31, u"ab\u4E00\U00010000\u0E01\u4E00", 0, "ab\xD2\xBB\x90\x30\x81\x30\x81\x32\xCE\x39\xD2\xBB"},
};

TEST(CodesetBytes, EncodesByteForByte) {
    for (const Encoded& row : kEncodings) {
        SCOPED_TRACE(std::string(ZrCodesetConverter::GetEncodingName(row.id)) + " #" +
                     std::to_string(&row - kEncodings));
        ZrByteBuffer out;
        EXPECT_TRUE(Units(row.text).AsEncoding(row.id, row.options, out));
        EXPECT_EQ(Bytes(out), row.bytes);
        if (!(row.options & kZrEncOptionRecoverable)) {
            ZrUniString back;
            EXPECT_TRUE(back.CreateFrom(out.Data(), out.Length(), row.id, 0));
            EXPECT_EQ(std::u16string(back.View()), row.text);
        }
    }
}

TEST(CodesetBytes, ReportsWhereEncodingFails) {
    ZrCodesetInfo info;
    ZrUniString text = Units(u"ab\u00E9c\u4E00");
    EXPECT_FALSE(ZrCodesetConverter::ValidateTo(text, &info, 1, 0));
    EXPECT_EQ(info.errorPosition, 2u);
    ZrByteBuffer out;
    ZrCodesetInfo counted;
    EXPECT_TRUE(ZrCodesetConverter::GetConverter(1).to(text.Units(), text.Length(), out, &counted,
                                                       kZrEncOptionRecoverable));
    EXPECT_EQ(counted.errorPosition, 2u);
    EXPECT_EQ(counted.failures, 2u);
    EXPECT_TRUE(text.AsEncoding(1, 0).IsEmpty()) << "a strict failure gives no bytes";
    EXPECT_TRUE(ZrCodesetConverter::ValidateTo(text, nullptr, 42, 0));
    EXPECT_FALSE(ZrCodesetConverter::ValidateTo(text, nullptr, 43, 0));
}

// Leading byte order marks are dropped; ISO-2022-JP shifts are read.
TEST(CodesetBytes, DecodesMarksAndShifts) {
    const struct {
        unsigned id;
        std::string bytes;
        std::u16string text;
    } rows[] = {
        {39, "\xFE\xFF\x00\x41"s, u"A"},
        {39, "\xFF\xFE\x00\x41"s, u"\uFFFE\x41"},
        {40, "\xFF\xFE\x41\x00"s, u"A"},
        {41, "\xFE\xFF\x00\x41"s, u"A"},
        {41, "\xFF\xFE\x41\x00"s, u"A"},
        {42, "\xEF\xBB\xBF\x41\xEF\xBB\xBF", u"A\uFEFF"},
        {36, "\x1B$B\x24\x22\x1B(B", u"\u3042"},
        {36, "\x1B$@\x24\x22", u"\u3042"},
        {36, "\x1B(J\x5C\x7E\x61", u"\u00A5\u203E\x61"},
        {36, "\x1B$B\x24\x22\n\x24\x24", u"\u3042\n\u3044"},
        {36, "\x1B(B\x1B(B", u""},
    };
    for (const auto& row : rows) {
        Decoded d = Decode(row.id, row.bytes);
        EXPECT_TRUE(d.ok) << row.id;
        EXPECT_EQ(d.text, row.text) << row.id;
    }
}

// Every character an encoding can write reads back as itself, and its bytes validate: for all 43
// encodings, the whole repertoire (the BMP, and a spread beyond it) as one text after an ASCII letter,
// so that no leading byte order mark is dropped.
TEST(CodesetBytes, EveryEncodableCharacterReadsBack) {
    for (unsigned id = 0; id < 43; ++id) {
        SCOPED_TRACE(ZrCodesetConverter::GetEncodingName(id));
        const ZrConverter& conv = ZrCodesetConverter::GetConverter(id);
        std::u16string text = u"a";
        for (uint32_t cp = 0; cp <= 0x10FFFF; cp += cp < 0x10000 ? 1 : 97) {
            char16_t units[2] = {static_cast<char16_t>(cp), 0};
            if (cp >= 0x10000)
                units[0] = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)),
                units[1] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
            // ISO-2022-JP writes ESC as itself, but read back it starts a shift sequence.
            if (id == 36 && cp == 0x1B)
                continue;
            if ((cp < 0xD800 || cp > 0xDFFF) && conv.validateTo(units, cp < 0x10000 ? 1 : 2, nullptr, 0))
                text.append(units, cp < 0x10000 ? 1 : 2);
        }
        EXPECT_GT(text.size(), 127u);
        ZrByteBuffer bytes;
        ASSERT_TRUE(conv.to(text.data(), text.size(), bytes, nullptr, 0));
        ZrCodesetInfo info;
        EXPECT_TRUE(ZrCodesetConverter::ValidateFrom(bytes.Data(), bytes.Length(), &info, id, 0))
            << "fails at byte " << info.errorPosition;
        Decoded back = Decode(id, Bytes(bytes));
        EXPECT_TRUE(back.ok) << "fails at byte " << back.info.errorPosition;
        auto diff = std::mismatch(text.begin(), text.end(), back.text.begin(), back.text.end());
        EXPECT_TRUE(diff.first == text.end() && diff.second == back.text.end())
            << "first difference at U+" << std::hex
            << (diff.first == text.end() ? 0u : unsigned(*diff.first));
    }
}

} // namespace
