#include "foundation/database/zrdatabase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

} // namespace
