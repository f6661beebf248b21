#include "foundation/database/zrdbparse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "foundation/database/zrdatabase.h"

namespace {

std::vector<std::string> Values(ZrDatabase& db, const char* key) {
    ZrDList<ZrUniString> out;
    db.ListValues(key, out);
    std::vector<std::string> values;
    for (const ZrUniString& s : out)
        values.push_back(s.AsUtf8());
    return values;
}

std::string Comment(ZrDatabase& db, const char* key) {
    const ZrDBEntry* entry = db.Entry(key);
    return entry ? entry->Comment().AsUtf8() : "(absent)";
}

// Escapes, line feeds, blanks, repeated and empty values and non-ASCII units in keys and values are
// read back from the writer's output in zrdbparse_write_test; here is what the writer never produces,
// and texts of blanks, headers or comments alone, which add nothing.
TEST(ZrDBParseRead, KeysAndValuesKeepWhatTheBracketsEnclose) {
    struct Row {
        const char* text;
        const char* key; // none: the text adds no entry
        std::vector<std::string> values;
    };
    const Row rows[] = {
        {"[k={(a(b)(=)({x})}]", "k", {"a(b", "=", "{x}"}},       // "(" "=" "{" need no escape
        {"[\\q\\[={(\\n)}]", "q[", {"n"}},                       // an escape before any character
        {"[k= \t\n{ (1) \n # c\n (2)\n}\r\n]", "k", {"1", "2"}}, // irrelevant text between tokens
        {"[k={}]#trailing comment", "k", {}},                    // text may end in a comment
        {"[k#={(#)}]", "k#", {"#"}},                             // "#" inside brackets is text
        {"", nullptr, {}},
        {" \t\r\n\n", nullptr, {}},
        {"# only a comment", nullptr, {}},
        {"## header\n## header\n", nullptr, {}},
        {"##", nullptr, {}},
        {"#a\n#b\n  \n", nullptr, {}},
    };
    for (const Row& row : rows) {
        ZrDatabase db;
        ASSERT_TRUE(db.FromString(row.text, 0)) << row.text << ": " << db.ErrorString().AsUtf8();
        EXPECT_EQ(db.ErrorString().AsUtf8(), "Success");
        EXPECT_EQ(db.Count(), row.key ? 1u : 0u) << row.text;
        if (row.key) {
            EXPECT_EQ(Values(db, row.key), row.values) << row.text;
        }
    }
}

TEST(ZrDBParseRead, CommentsGoToTheNextEntryVerbatimAndHeaderLinesAreSkippedBetweenEntries) {
    ZrDatabase db;
    ZrUniString text(ZrDatabase::fileheader);
    text.Append(ZrUniString("\n\n# one\n\n\n  # two ## x\n[a={}]\n[b={}]  \t[c={}]\n# d\n[d={}]\n"
                            "## not a header here\n[e={}]##x\n[f={}]"));
    ASSERT_TRUE(db.FromString(text, 0));
    // Leading line feeds dropped, the empty-line run collapsed, blanks and "#" signs kept.
    EXPECT_EQ(Comment(db, "a"), "# one\n  # two ## x\n");
    // Nothing but a line feed between entries: no comment.
    EXPECT_EQ(Comment(db, "b"), "");
    EXPECT_EQ(Comment(db, "c"), "  \t");
    EXPECT_EQ(Comment(db, "d"), "# d\n");
    // Met inside irrelevant text, "##" is an ordinary comment and is collected.
    EXPECT_EQ(Comment(db, "e"), "## not a header here\n");
    // Directly after "]" it is a header again: skipped, and the pending comment stays.
    EXPECT_EQ(Comment(db, "f"), "## not a header here\n");
}

// Line feeds anywhere in keys and values, with stops between them, count lines and restart the
// character number after the last one.
TEST(ZrDBParseRead, LineFeedsAtEveryOffsetCountLinesAndCharacters) {
    std::mt19937 rng(5);
    const char16_t alphabet[] = u"ab\n(#\u00e9}";
    for (int round = 0; round < 400; ++round) {
        std::u16string raw;
        for (size_t n = rng() % 23; n > 0; --n)
            raw += alphabet[rng() % (sizeof alphabet / 2 - 1)];
        size_t lastLineFeed = raw.rfind(u'\n');
        uint64_t lines = 1 + std::count(raw.begin(), raw.end(), u'\n');
        for (bool inValue : {false, true}) {
            // The error is at the "x" after the entry; its position follows the raw text.
            std::u16string text = inValue ? u"[k={(" + raw + u")}]x" : u"[" + raw + u"={}]x";
            uint64_t before = inValue ? 6 : 2; // character number where the raw text starts
            uint64_t after = inValue ? 4 : 5;  // ")}]" or "={}]", then the x itself counts from 1
            uint64_t character = lastLineFeed == std::u16string::npos ? before + raw.size() + after - 1
                                                                      : raw.size() - lastLineFeed + after - 1;
            ZrDatabase db;
            ZrDBParse parse;
            ASSERT_FALSE(parse.FromString(db, ZrUniString(text), 0));
            EXPECT_EQ(parse.Line(), lines) << ZrUniString(text).AsUtf8();
            EXPECT_EQ(parse.Character(), character) << ZrUniString(text).AsUtf8();
        }
    }
}

// Each state's error text once, with the character and line it names.
TEST(ZrDBParseRead, ErrorsGiveStateCharacterAndPositionAndKeepEarlierEntries) {
    const struct {
        const char* text;
        int state;
        const char* message;
    } rows[] = {
        {"x", 1, "Error: found \"x\" at character 1 in line 1 whilst looking for \"[\""},
        {"[a={(x)]", 5, "Error: found \"]\" at character 8 in line 1 whilst looking for \"(\" or \"}\""},
        {"[k={(abc", 7, "Error: found \"(EOF)\" at character 9 in line 1 whilst looking for \")\""},
        {"[k", 2, "Error: found \"(EOF)\" at character 3 in line 1 whilst looking for \"=\""},
        {"[k\\", 3, "Error: found \"(EOF)\" at character 4 in line 1 whilst looking for \"=\""},
        {"[k=", 4, "Error: found \"(EOF)\" at character 4 in line 1 whilst looking for \"{\""},
        {"[k={", 5, "Error: found \"(EOF)\" at character 5 in line 1 whilst looking for \"(\" or \"}\""},
        {"[k={}", 6, "Error: found \"(EOF)\" at character 6 in line 1 whilst looking for \"]\""},
        {"[k={(a\\", 8, "Error: found \"(EOF)\" at character 8 in line 1 whilst looking for \")\""},
        // Line feeds inside keys and values count lines.
        {"[a\nb={(x\ny)\n}] y", 1, "Error: found \"y\" at character 4 in line 4 whilst looking for \"[\""},
        // Header lines add their characters to the count but not their lines.
        {"## one\n## two\n[k=}", 4, "Error: found \"}\" at character 18 in line 1 whilst looking for \"{\""},
        {"##\n##\n{", 1, "Error: found \"{\" at character 7 in line 1 whilst looking for \"[\""},
        {"# c\n\n x", 1, "Error: found \"x\" at character 2 in line 3 whilst looking for \"[\""},
    };
    for (const auto& row : rows) {
        ZrDatabase db;
        ZrDBParse parse;
        EXPECT_FALSE(parse.FromString(db, row.text, 0));
        EXPECT_EQ(parse.ErrorState(), row.state) << row.text;
        EXPECT_EQ(parse.ErrorString().AsUtf8(), row.message);
        EXPECT_FALSE(db.FromString(row.text, 0));
        EXPECT_EQ(db.ErrorString().AsUtf8(), row.message);
    }
    // Entries before an error stay: "b" was created at its "{" and got its value before the error.
    ZrDatabase db;
    EXPECT_FALSE(db.FromString("[a={(1)}]\n[b={(2)}\n[c={}]", 0));
    EXPECT_EQ(Values(db, "a"), (std::vector<std::string>{"1"}));
    EXPECT_EQ(Values(db, "b"), (std::vector<std::string>{"2"}));
    EXPECT_FALSE(db.KeyExists("c"));
}

} // namespace
