#include "foundation/string/zrunistring.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

constexpr uint32_t npos = ZrUniString::npos;

// The byte-string constructor widens ASCII itself and hands the rest to the UTF-8 converter (compared
// with glibc in the codeset tests); AsUtf8 writes what does not encode as an escape.
TEST(ZrUniStringUtf8, ReadsUntilTheFirstFaultAndWritesEscapes) {
    struct Row {
        const char* utf8;
        std::u16string units;
    } rows[] = {
        {"", u""},
        {"plain", u"plain"},
        {"caf\xc3\xa9", u"caf\u00e9"},
        {"\xef\xbb\xbfx", u"x"}, // a leading byte order mark is dropped
        {"ab\xc0\xafz", u"ab"},  // a fault (here an overlong form) stops the decoding; the text before stays
    };
    for (const Row& row : rows)
        EXPECT_EQ(ZrUniString(row.utf8).View(), row.units) << row.utf8;
    // A null pointer gives the empty string, in construction and in assignment.
    const char* none = nullptr;
    ZrUniString t("x");
    t = none;
    EXPECT_EQ(ZrUniString(none).Length() + t.Length(), 0u);
    EXPECT_EQ(ZrUniString(u"\u00e9\xd83d\xde00\xd800z").AsUtf8(), "\xc3\xa9\xf0\x9f\x98\x80\\uD800z");
}

// Equality looks at lengths and units; a changed copy leaves its original.
TEST(ZrUniStringEdit, CompareTruncatePadInsertRemoveSubString) {
    EXPECT_EQ(ZrUniString(), ZrUniString(""));
    EXPECT_NE(ZrUniString("ab"), ZrUniString("abc"));
    EXPECT_NE(ZrUniString("abd"), ZrUniString("abc"));
    EXPECT_TRUE(ZrUniString("key") == "key");
    EXPECT_EQ((ZrUniString("ab") + ZrUniString("cd")).AsUtf8(), "abcd");
    ZrUniString a("original");
    ZrUniString b = a;
    b.Set(0, u'O');
    b.Append(u'!');
    EXPECT_EQ(a.AsUtf8(), "original");
    EXPECT_EQ(b.AsUtf8(), "Original!");
    ZrUniString empty;
    empty.Truncate(0);
    EXPECT_EQ(empty.ShareCount(), 0u) << "truncating nothing to nothing allocates nothing";

    ZrUniString s("abcdef");
    s.Truncate(3);
    EXPECT_EQ(s.AsUtf8(), "abc");
    s.Pad(6, u'-');
    EXPECT_EQ(s.AsUtf8(), "abc---");
    s.Pad(2, u'x');
    EXPECT_EQ(s.AsUtf8(), "ab");
    s.Truncate(4);
    EXPECT_EQ(s.Length(), 4u);
    s = ZrUniString("helloworld");
    s.Insert(5, ZrUniString(", "));
    EXPECT_EQ(s.AsUtf8(), "hello, world");
    s.Remove(0, 7);
    EXPECT_EQ(s.AsUtf8(), "world");
    EXPECT_EQ(s.SubString(1, 3).AsUtf8(), "orl");
    EXPECT_EQ(s.SubString(2).AsUtf8(), "rld");
    EXPECT_EQ(s.SubString(5).Length(), 0u);
    s.Insert(0, s);
    EXPECT_EQ(s.AsUtf8(), "worldworld");
}

// Random short strings over three letters against the standard string's searches, which give the
// same answers except where ours gives -1: searching forwards from the end, backwards in an empty
// string, or backwards from -1.
TEST(ZrUniStringSearch, AgreesWithTheStandardString) {
    std::mt19937 rng(5);
    auto random = [&](size_t longest) {
        std::u16string text(rng() % (longest + 1), u'a');
        for (char16_t& unit : text)
            unit = static_cast<char16_t>(u'a' + rng() % 3);
        return text;
    };
    auto pos = [](size_t p) { return p == std::u16string::npos ? npos : static_cast<uint32_t>(p); };
    for (int round = 0; round < 3000; ++round) {
        std::u16string text = random(8), pattern = random(3);
        ZrUniString s(text), t(pattern);
        uint32_t start = rng() % 11;
        char16_t unit = static_cast<char16_t>(u'a' + rng() % 3);
        SCOPED_TRACE(s.AsUtf8() + " " + t.AsUtf8() + " from " + std::to_string(start));
        EXPECT_EQ(s.Search(unit), pos(text.find(unit)));
        EXPECT_EQ(s.SearchFrom(start, unit), pos(text.find(unit, start)));
        EXPECT_EQ(s.SearchReverseFrom(start, unit), pos(text.rfind(unit, start)));
        EXPECT_EQ(s.SearchFrom(start, t), start >= text.size() ? npos : pos(text.find(pattern, start)));
        EXPECT_EQ(s.SearchReverseFrom(start, t), text.empty() ? npos : pos(text.rfind(pattern, start)));
        EXPECT_EQ(s.SearchReverseFrom(npos, unit), npos);
        EXPECT_EQ(s.SearchReverseFrom(npos, t), npos);
    }
}

TEST(ZrUniStringSubstitute, ReplacesLeftToRightWithoutRescanningInsertions) {
    struct Row {
        const char* text;
        const char* from;
        const char* to;
        const char* result;
        uint32_t count;
    } rows[] = {
        {"aaa", "a", "aa", "aaaaaa", 3}, {"$HOME/x/$HOME", "$HOME", "/home/u", "/home/u/x//home/u", 2},
        {"abab", "ab", "", "", 2},       {"xyz", "q", "r", "xyz", 0},
        {"aaaa", "aa", "b", "bb", 2},    {"", "a", "b", "", 0},
    };
    for (const Row& row : rows) {
        ZrUniString s(row.text);
        EXPECT_EQ(s.Substitute(ZrUniString(row.from), ZrUniString(row.to)), row.count) << row.text;
        EXPECT_EQ(s.AsUtf8(), row.result) << row.text;
    }
    // Arguments that share the string itself are safe.
    ZrUniString s("ab");
    ZrUniString same = s;
    EXPECT_EQ(s.Substitute(same, same), 1u);
    EXPECT_EQ(s.AsUtf8(), "ab");
}

TEST(ZrUniStringCase, LowerAndUpper) {
    // Both ends of the ASCII capitals and their neighbours "@" and "[".
    EXPECT_EQ(ZrUniString("MiXeD-42 AZaz@[").Lower().AsUtf8(), "mixed-42 azaz@[");
    EXPECT_EQ(ZrUniString("\xd0\x9f\xd0\xa0\xd0\x98").Lower().AsUtf8(), "\xd0\xbf\xd1\x80\xd0\xb8"); // ПРИ
    EXPECT_EQ(ZrUniString::Lower(u'\u00d7'), u'\u00d7'); // the multiplication sign has no case
    EXPECT_EQ(ZrUniString::Lower(u'\u0178'), u'\u00ff');
    EXPECT_EQ(ZrUniString("straße az`{").Upper().AsUtf8(), "STRAßE AZ`{");
}

} // namespace
