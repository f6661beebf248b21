#include "foundation/database/zrdatabase.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "foundation/database/zrdbparse.h"

namespace {

std::vector<std::string> Strings(const ZrDList<ZrUniString>& list) {
    std::vector<std::string> out;
    for (const ZrUniString& s : list)
        out.push_back(s.AsUtf8());
    return out;
}

std::vector<std::string> Values(ZrDatabase& db, const char* key) {
    ZrDList<ZrUniString> out;
    db.ListValues(key, out);
    return Strings(out);
}

// Comment and Tag change nothing on an absent key; ClearKey makes a key with no values and keeps its
// comment and tag; values keep duplicates; keys are exact; ListValues appends. The error text is
// "Success" until a parse fails and again after a clean one; other operations leave it alone.
TEST(ZrDatabase, KeysValuesCommentsTagsAndErrorText) {
    ZrDatabase db;
    EXPECT_EQ(db.ErrorString().AsUtf8(), "Success");
    db.Comment("a", "# c\n");
    db.Tag("a", 5);
    EXPECT_FALSE(db.KeyExists("a"));
    EXPECT_EQ(db.Tag("a"), -1);
    db.ClearKey("k");
    EXPECT_TRUE(db.KeyExists("k"));
    EXPECT_EQ(db.Tag("k"), 0);
    EXPECT_EQ(db.Entry("k")->Comment().Length(), 0u);
    EXPECT_TRUE(Values(db, "k").empty());
    db.AppendValue("k", "1");
    db.AppendValue("k", "1");
    db.Comment("k", "# keep\n");
    db.Tag("k", 7);
    EXPECT_EQ(Values(db, "k"), (std::vector<std::string>{"1", "1"}));
    EXPECT_FALSE(db.KeyExists("K"));
    EXPECT_FALSE(db.KeyExists("k "));
    ZrDList<ZrUniString> out;
    out.Insert(ZrUniString("0"));
    db.ListValues("k", out);
    db.ListValues("absent", out);
    EXPECT_EQ(Strings(out), (std::vector<std::string>{"0", "1", "1"}));
    db.ClearKey("k");
    EXPECT_TRUE(Values(db, "k").empty());
    EXPECT_EQ(db.Entry("k")->Comment().AsUtf8(), "# keep\n");
    EXPECT_EQ(db.Tag("k"), 7);
    EXPECT_EQ(db.Count(), 1u);
    EXPECT_FALSE(db.FromString("x", 0));
    db.AppendValue("k", "v");
    EXPECT_NE(db.ErrorString().AsUtf8(), "Success");
    EXPECT_TRUE(db.FromString("[a={}]", 0));
    EXPECT_EQ(db.ErrorString().AsUtf8(), "Success");
}

// ListKeys gives each child once, names already in the list counted as present, and for the empty
// prefix only the keys that begin with "/". RemoveKeys takes a prefix and its sub-tree, not keys that
// merely start with its text; the empty prefix takes everything and leaves a usable database.
TEST(ZrDatabase, ListKeysAndRemoveKeysWorkOnSubTrees) {
    ZrDatabase db;
    for (const char* key : {"share/a/path", "share/a/mode", "share/b", "shares/x", "share", "/root/y"})
        db.AppendValue(key, "v");
    ZrDList<ZrUniString> present, root;
    present.Insert(ZrUniString("b"));
    db.ListKeys("share", present);
    EXPECT_EQ(Strings(present), (std::vector<std::string>{"b", "a"}));
    db.ListKeys("", root);
    EXPECT_EQ(Strings(root), (std::vector<std::string>{"root"}));
    db.RemoveKeys("share/a/path");
    EXPECT_FALSE(db.KeyExists("share/a/path"));
    EXPECT_TRUE(db.KeyExists("share/a/mode"));
    db.RemoveKeys("share");
    EXPECT_EQ(db.Count(), 2u);
    EXPECT_TRUE(db.KeyExists("shares/x") && db.KeyExists("/root/y"));
    db.RemoveKeys("");
    EXPECT_EQ(db.Count(), 0u);
    EXPECT_TRUE(db.ToString(-1).IsEmpty());
    db.AppendValue("share/b", "again");
    EXPECT_EQ(Values(db, "share/b"), (std::vector<std::string>{"again"}));
}

// Records every change the parser makes, in order: the parser may change a database only through its
// virtual operations.
class RecordingDatabase : public ZrDatabase {
public:
    using ZrDatabase::Tag;
    void ClearKey(const ZrUniString& key) override {
        log.push_back("ClearKey " + key.AsUtf8());
        ZrDatabase::ClearKey(key);
    }
    void AppendValue(const ZrUniString& key, const ZrUniString& value) override {
        log.push_back("AppendValue " + key.AsUtf8() + " " + value.AsUtf8());
        ZrDatabase::AppendValue(key, value);
    }
    void Tag(const ZrUniString& key, int tag) override {
        log.push_back("Tag " + key.AsUtf8() + " " + std::to_string(tag));
        ZrDatabase::Tag(key, tag);
    }
    void Comment(const ZrUniString& key, const ZrUniString& comment) override {
        log.push_back("Comment " + key.AsUtf8() + " [" + comment.AsUtf8() + "]");
        ZrDatabase::Comment(key, comment);
    }
    std::vector<std::string> log;
};

TEST(ZrDatabase, ParserChangesDatabaseOnlyThroughVirtualOperations) {
    RecordingDatabase db;
    ASSERT_TRUE(db.FromString("#c\n[a={(1)(2)}]\n[a={(3)}]", 4));
    EXPECT_EQ(db.log, (std::vector<std::string>{"ClearKey a", "Comment a [#c\n]", "Tag a 4",
                                                "AppendValue a 1", "AppendValue a 2", "ClearKey a",
                                                "Comment a []", "Tag a 4", "AppendValue a 3"}));
    // The second occurrence wins.
    EXPECT_EQ(Values(db, "a"), (std::vector<std::string>{"3"}));
    EXPECT_EQ(db.Entry("a")->Comment().Length(), 0u);
}

std::string Comment(ZrDatabase& db, const char* key) {
    const ZrDBEntry* entry = db.Entry(key);
    return entry ? entry->Comment().AsUtf8() : "(absent)";
}

// Escapes, line feeds, blanks, repeated and empty values and non-ASCII units in keys and values are
// read back from the writer's output below; here is what the writer never produces, and texts of
// blanks, headers or comments alone, which add nothing.
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
        {"## header\n## header\n", nullptr, {}},
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
        // Line feeds inside keys and values (escaped or not) count lines and restart the character count.
        {"[k\\\na\nbc", 2, "Error: found \"(EOF)\" at character 3 in line 3 whilst looking for \"=\""},
        {"[a\nb={(x\nyz)w", 5,
         "Error: found \"w\" at character 4 in line 3 whilst looking for \"(\" or \"}\""},
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

// Only ")", "=" and "\\" are escaped, in keys and values alike.
TEST(ZrDBParseWrite, WritesOneEntryByteForByte) {
    ZrDBEntry entry;
    entry.AppendValue("/home/a");
    entry.AppendValue("x=y)([{}]#\n\\\xe2\x82\xac");
    ZrDBParse parse;
    EXPECT_EQ(parse.ToString("share/docs/path", entry).AsUtf8(),
              "[share/docs/path={(/home/a)(x\\=y\\)([{}]#\n\\\\\xe2\x82\xac)}]\n");
    ZrDBEntry empty;
    EXPECT_EQ(parse.ToString("k", empty).AsUtf8(), "[k={}]\n");
    ZrDBEntry commented;
    commented.SetComment("# note\n  ");
    commented.AppendValue("");
    EXPECT_EQ(parse.ToString("a=b)", commented).AsUtf8(), "# note\n  [a\\=b\\)={()}]\n");
}

// Entries come out bucket by bucket, slot by slot: fourteen keys have grown the table to sixteen
// buckets (the order below was worked out by hand from the key hash, nine times plus each byte of the
// UTF-16 units, and the rebuild at the thirteenth insert).
TEST(ZrDBParseWrite, WritesInTableOrderAndFiltersByTag) {
    ZrDatabase db;
    for (int i = 0; i < 14; ++i) {
        std::string key = "share";
        key += std::to_string(i);
        db.AppendValue(key.c_str(), "v");
        db.Tag(key.c_str(), i % 3);
    }
    EXPECT_EQ(db.Entries().BucketCount(), 16u);
    EXPECT_EQ(db.ToString(-1).AsUtf8(), "[share6={(v)}]\n[share8={(v)}]\n[share1={(v)}]\n[share10={(v)}]\n"
                                        "[share3={(v)}]\n[share12={(v)}]\n[share5={(v)}]\n[share7={(v)}]\n"
                                        "[share0={(v)}]\n[share9={(v)}]\n[share2={(v)}]\n[share11={(v)}]\n"
                                        "[share4={(v)}]\n[share13={(v)}]\n");
    EXPECT_EQ(db.ToString(2).AsUtf8(), "[share8={(v)}]\n[share5={(v)}]\n[share2={(v)}]\n[share11={(v)}]\n");
    EXPECT_EQ(db.ToString(9).AsUtf8(), "");
}

// Generated databases, written one text per tag and read back, keep their keys, values, tags and
// comments; the alphabet holds every character the writer escapes, blanks and line feeds. Comments take
// the form the reader produces ("#" lines ending in a line feed, and blank runs), and none opens with
// "##", which the reader would take for a header.
std::u16string RandomText(std::mt19937& rng, size_t maxLength, bool lineFeeds = true) {
    static const char16_t alphabet[] = u"ab/ =)(\\{}[]#\t\u00e9\u20ac\xd800x\n";
    std::u16string s;
    for (size_t n = rng() % (maxLength + 1); n > 0; --n)
        s.push_back(alphabet[rng() % (std::size(alphabet) - (lineFeeds ? 1 : 2))]);
    return s;
}

struct Expected {
    std::vector<std::u16string> values;
    std::u16string comment;
    int tag;
};

TEST(ZrDBParseWrite, RandomDatabasesReadBackAsWritten) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        std::mt19937 rng(seed);
        ZrDatabase db;
        std::map<std::u16string, Expected> model;
        for (int i = 1 + rng() % 300; i > 0; --i) {
            std::u16string key = RandomText(rng, 12) + char16_t(u'0' + i % 10);
            Expected& e = model[key];
            e = {{}, u"", static_cast<int>(rng() % 3)};
            db.ClearKey(ZrUniString(key));
            for (int v = rng() % 4; v > 0; --v) {
                e.values.push_back(RandomText(rng, 10));
                db.AppendValue(ZrUniString(key), ZrUniString(e.values.back()));
            }
            for (int part = rng() % 4; part > 0; --part) {
                if (rng() % 2)
                    e.comment.append(u"#").append(RandomText(rng, 8, false)).append(u"\n");
                else
                    e.comment.append(1 + rng() % 3, rng() % 2 ? u' ' : u'\t');
            }
            while (e.comment.rfind(u"##", 0) == 0)
                e.comment.erase(0, 1);
            db.Comment(ZrUniString(key), ZrUniString(e.comment));
            db.Tag(ZrUniString(key), e.tag);
        }
        ZrDatabase back;
        for (int tag = 0; tag < 3; ++tag)
            ASSERT_TRUE(back.FromString(db.ToString(tag), tag)) << back.ErrorString().AsUtf8();
        ASSERT_EQ(back.Count(), model.size());
        for (const auto& [key, e] : model) {
            const ZrDBEntry* entry = back.Entry(ZrUniString(key));
            ASSERT_NE(entry, nullptr) << ZrUniString(key).AsUtf8();
            std::vector<std::u16string> values;
            for (const ZrUniString& v : entry->ValueList())
                values.emplace_back(v.View());
            EXPECT_EQ(values, e.values);
            EXPECT_EQ(entry->Tag(), e.tag);
            EXPECT_EQ(std::u16string(entry->Comment().View()), e.comment);
        }
    }
}

} // namespace
