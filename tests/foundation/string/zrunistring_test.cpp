#include "foundation/string/zrunistring.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t npos = ZrUniString::npos;

ZrUniString U(const char16_t* text) {
    return ZrUniString(std::u16string_view(text));
}

TEST(ZrUniStringFromUtf8, DecodesEveryLengthOfSequence) {
    struct Row {
        const char* utf8;
        std::u16string units;
    } rows[] = {
        {"", u""},
        {"plain", u"plain"},
        {"caf\xc3\xa9", u"caf\u00e9"},         // two bytes
        {"\xe2\x82\xac", u"\u20ac"},           // three bytes
        {"\xf0\x9f\x98\x80", u"\xd83d\xde00"}, // four bytes: a surrogate pair
        {"\xef\xbb\xbfx", u"x"},               // a leading byte order mark is dropped
        // Overlong, truncated and surrogate forms stop the decoding; the text before them is kept.
        {"ab\xc0\xafz", u"ab"},
        {"ab\xe2\x82", u"ab"},
        {"\xed\xa0\x80", u""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(ZrUniString(row.utf8).View(), row.units) << row.utf8;
    // A null pointer gives the empty string, in construction and in assignment.
    const char* none = nullptr;
    ZrUniString t("x");
    t = none;
    EXPECT_EQ(ZrUniString(none).Length() + t.Length(), 0u);
}

TEST(ZrUniStringToUtf8, RoundTripsAndEscapesUnpairedSurrogates) {
    ZrUniString s(U(u"A\u00e9\u20ac\xd83d\xde00"));
    EXPECT_EQ(s.AsUtf8(), "A\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
    ZrUniString lone(U(u"a\xd800z"));
    EXPECT_EQ(lone.AsEncoding(42, 0).Length(), 0u); // strict conversion fails
    EXPECT_EQ(lone.AsUtf8(), "a\\uD800z");          // recoverable form
}

TEST(ZrUniStringCompare, LengthsUnitsAndIndependentCopies) {
    EXPECT_EQ(ZrUniString(), ZrUniString(""));
    EXPECT_NE(ZrUniString("ab"), ZrUniString("abc"));
    EXPECT_NE(ZrUniString("abd"), ZrUniString("abc"));
    EXPECT_TRUE(ZrUniString("key") == "key");
    EXPECT_EQ((ZrUniString("ab") + ZrUniString("cd")).AsUtf8(), "abcd");
    // Changing a copy leaves the original.
    ZrUniString a("original");
    ZrUniString b = a;
    b.Set(0, u'O');
    b.Append(u'!');
    EXPECT_EQ(a.AsUtf8(), "original");
    EXPECT_EQ(b.AsUtf8(), "Original!");
}

TEST(ZrUniStringEdit, TruncateAndPad) {
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
}

TEST(ZrUniStringEdit, InsertRemoveSubString) {
    ZrUniString s("helloworld");
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

TEST(ZrUniStringSearch, UnitsTextsAndFirstNotIn) {
    ZrUniString s("a/b/c");
    EXPECT_EQ(s.Search(u'/'), 1u);
    EXPECT_EQ(s.SearchFrom(2, u'/'), 3u);
    EXPECT_EQ(s.SearchFrom(4, u'/'), npos);
    EXPECT_EQ(s.SearchFrom(5, u'a'), npos);
    EXPECT_EQ(s.SearchReverse(u'/'), 3u);
    EXPECT_EQ(s.SearchReverseFrom(2, u'/'), 1u);
    EXPECT_EQ(s.SearchReverseFrom(0, u'/'), npos);
    EXPECT_EQ(s.SearchReverseFrom(npos, u'a'), npos);
    EXPECT_EQ(ZrUniString().Search(u'a'), npos);
    EXPECT_EQ(ZrUniString().SearchReverse(u'a'), npos);
    ZrUniString five("abcab");
    EXPECT_EQ(five.SearchFrom(5, ZrUniString("a")), npos);
    EXPECT_EQ(five.SearchFrom(0, ZrUniString()), 0u);
    EXPECT_EQ(five.SearchFrom(3, ZrUniString()), 3u);
    EXPECT_EQ(five.SearchFrom(0, ZrUniString("ab")), 0u);
    EXPECT_EQ(five.SearchFrom(1, ZrUniString("ab")), 3u);
    EXPECT_EQ(five.SearchFrom(0, ZrUniString("abcabx")), npos);
    EXPECT_EQ(five.SearchFrom(4, ZrUniString("ab")), npos);
    EXPECT_EQ(five.SearchReverseFrom(4, ZrUniString("ab")), 3u);
    EXPECT_EQ(five.SearchReverseFrom(2, ZrUniString("ab")), 0u);
    EXPECT_EQ(five.SearchReverseFrom(4, ZrUniString("ca")), 2u);
    EXPECT_EQ(five.SearchReverseFrom(1, ZrUniString("ca")), npos);
    EXPECT_EQ(five.SearchReverseFrom(npos, ZrUniString("a")), npos);
    EXPECT_EQ(ZrUniString("  \tx ").SearchFirstNotIn(ZrUniString(" \t")), 3u);
    EXPECT_EQ(ZrUniString(" \t ").SearchFirstNotIn(ZrUniString(" \t")), npos);
    EXPECT_EQ(ZrUniString().SearchFirstNotIn(ZrUniString(" ")), npos);
    EXPECT_EQ(ZrUniString("abc").SearchFirstNotIn(ZrUniString()), 0u);
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

TEST(ZrUniStringCase, MatchCaselessAndLower) {
    EXPECT_TRUE(ZrUniString("PC1").MatchCaseless(ZrUniString("pc1")));
    EXPECT_TRUE(
        ZrUniString("\xc3\x89T\xc3\x89").MatchCaseless(ZrUniString("\xc3\xa9t\xc3\xa9"))); // ÉTÉ / été
    EXPECT_FALSE(ZrUniString("pc1").MatchCaseless(ZrUniString("pc12")));
    EXPECT_FALSE(ZrUniString("pc1").MatchCaseless(ZrUniString("pc2")));
    // Both ends of the ASCII capitals and their neighbours "@" and "[".
    EXPECT_EQ(ZrUniString("MiXeD-42 AZaz@[").Lower().AsUtf8(), "mixed-42 azaz@[");
    EXPECT_EQ(ZrUniString("\xd0\x9f\xd0\xa0\xd0\x98").Lower().AsUtf8(), "\xd0\xbf\xd1\x80\xd0\xb8"); // ПРИ
    EXPECT_EQ(ZrUniString::Lower(u'\u00d7'), u'\u00d7'); // the multiplication sign has no case
    EXPECT_EQ(ZrUniString::Lower(u'\u0178'), u'\u00ff');
    EXPECT_EQ(ZrUniString("straße az`{").Upper().AsUtf8(), "STRAßE AZ`{");
}

} // namespace
