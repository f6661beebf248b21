#include "foundation/system/zruserdatabase.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace {

// The test account by id and by name as the C library has it; missing entries (and a name with a
// zero inside, which must not find the account before the zero) are no errors.
TEST(ZrUserDatabaseTest, AgreesWithTheCLibrary) {
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

    EXPECT_FALSE(ZrUserDatabaseIterator::Find(4000000000u, entry));
    EXPECT_EQ(ZrUserDatabaseIterator::LastError(), 0);
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(ZrUniString("no-such-user-kpatdmcl"), entry));
    EXPECT_EQ(ZrUserDatabaseIterator::LastError(), 0);
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(ZrUniString(), entry));
    const ZrUniChar rootThenMore[] = {u'r', u'o', u'o', u't', 0, u'x'};
    EXPECT_FALSE(ZrUserDatabaseIterator::Find(ZrUniString(rootThenMore, 6), entry));
}

} // namespace
