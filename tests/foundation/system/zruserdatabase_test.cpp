#include "foundation/system/zruserdatabase.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <set>

namespace {

TEST(ZrUserDatabaseTest, AgreesWithTheCLibraryByIdAndByName) {
    const passwd* record = getpwuid(geteuid());
    ASSERT_NE(record, nullptr) << "the test account has no database entry";
    ZrUserEntry entry, byName;
    ASSERT_TRUE(ZrUserDatabaseIterator::Find(ZrUserDatabaseIterator::EffectiveUserId(), entry));
    EXPECT_EQ(entry.name.AsUtf8(), record->pw_name);
    EXPECT_EQ(entry.home.AsUtf8(), record->pw_dir);
    EXPECT_EQ(entry.shell.AsUtf8(), record->pw_shell);
    EXPECT_EQ(entry.gid, record->pw_gid);
    ASSERT_TRUE(ZrUserDatabaseIterator::Find(entry.name, byName));
    EXPECT_EQ(byName.uid, geteuid());
    EXPECT_EQ(byName.home, entry.home);
}

TEST(ZrUserDatabaseTest, MissingEntriesAreNotErrors) {
    ZrUserEntry entry;
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(4000000000u, entry));
    EXPECT_EQ(ZrUserDatabaseIterator::LastError(), 0);
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(ZrUniString("no-such-user-kpatdmcl"), entry));
    EXPECT_EQ(ZrUserDatabaseIterator::LastError(), 0);
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(ZrUniString(), entry));
    // An embedded zero must not look up the account named by the text before it.
    const ZrUniChar rootThenMore[] = {u'r', u'o', u'o', u't', 0, u'x'};
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(ZrUniString(rootThenMore, 6), entry));
}

TEST(ZrUserDatabaseTest, WalkVisitsEveryEntryOnce) {
    std::set<std::string> names;
    ZrUserEntry entry;
    {
        ZrUserDatabaseIterator walk;
        while (walk.Next(entry))
            EXPECT_TRUE(names.insert(entry.name.AsUtf8()).second) << entry.name.AsUtf8();
    }
    EXPECT_TRUE(names.count("root"));
    // Each walked name leads back to an entry.
    for (const std::string& name : names) {
        ZrUserEntry found;
        EXPECT_TRUE(ZrUserDatabaseIterator::Find(ZrUniString(name.c_str()), found)) << name;
    }
}

} // namespace
