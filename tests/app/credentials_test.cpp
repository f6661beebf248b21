#include "app/credentials.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/buildconfig.h"

namespace {

// Known answers under the build's default mask. They were worked out once outside this code base:
// the account checksum in Python from its definition, the key "%07X" of checksum ^ mask cut to seven
// characters and spread to eight bytes, each block enciphered with "openssl enc -des-ecb -nopad".
TEST(ConvertPasswordTest, KnownAnswersUnderTheDefaultMask) {
    if (KPATDMCL_PASSWORD_MASK != 0x5A3C96E1u)
        GTEST_SKIP() << "built with another password mask";
    const struct {
        const char* account;
        size_t length; // of the password "abcdef...", the alphabet repeated
        size_t digits;
        const char* leading; // the first (up to) 32 digits
    } cases[] = {
        {"bob", 0, 16, "BA9E9EEAEA5B15E0"},                    // the length byte and seven spaces
        {"alice", 6, 16, "CA77347D7908DBDA"},                  // one block
        {"alice", 8, 32, "F704A07D17999401EAE16C3B242B10D3"},  // the length byte pushes one into a second
        {"bob", 191, 384, "C4382672376E5D7D2A560C6F8D1DAF20"}, // length byte 'A' + 191 wraps to zero
    };
    for (const auto& c : cases) {
        std::string password;
        for (size_t i = 0; i < c.length; ++i)
            password += static_cast<char>('a' + i % 26);
        ZrCString converted;
        credentials::ConvertPassword(password.c_str(), ZrUniString(c.account), converted);
        EXPECT_EQ(converted.Length(), c.digits) << c.length;
        EXPECT_EQ(std::string(converted.c_str()).substr(0, 32), c.leading) << c.length;
    }
    // A null pointer converts like the empty password.
    ZrCString fromNull;
    credentials::ConvertPassword(static_cast<const char*>(nullptr), ZrUniString("bob"), fromNull);
    EXPECT_STREQ(fromNull.c_str(), "BA9E9EEAEA5B15E0");
}

// The known answers fix the key for their accounts; this pins the zero padding they happen not to need.
TEST(ConvertPasswordTest, KeyIsTheFirstSevenDigitsOfTheMaskedChecksumZeroPadded) {
    const ZrByteBuffer key = credentials::PasswordKey(0x5u ^ KPATDMCL_PASSWORD_MASK);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(key.Data()), key.Length()), "0000005");
}

TEST(DecodeUsernameTest, DecodesTheProgramAlphabetAsUtf8) {
    const struct {
        const char *encoded, *name;
    } cases[] = {
        {"YWxpY2U=", "alice"},
        {"Wm-Dqw==", "Zo\xc3\xab"}, // "-" where the standard alphabet has "/"
        {"", ""},
        {"----", ""}, // FF FF FF is no UTF-8 text: no name
    };
    for (const auto& c : cases)
        EXPECT_EQ(credentials::DecodeUsername(ZrUniString(c.encoded)).AsUtf8(), c.name) << c.encoded;
}

TEST(DecodePasswordTest, ConvertsTheDecodedBytesUpToTheFirstZero) {
    const ZrUniString account("carol");
    ZrCString expected;
    credentials::ConvertPassword("secret", account, expected);
    // "c2VjcmV0" is "secret"; "c2VjcmV0AHh5" is "secret" NUL "xy".
    EXPECT_EQ(credentials::DecodePassword(ZrUniString("c2VjcmV0"), account).AsUtf8(), expected.c_str());
    EXPECT_EQ(credentials::DecodePassword(ZrUniString("c2VjcmV0AHh5"), account).AsUtf8(), expected.c_str());

    ZrCString empty;
    credentials::ConvertPassword("", account, empty);
    EXPECT_EQ(credentials::DecodePassword(ZrUniString("%%%"), account).AsUtf8(), empty.c_str());
}

TEST(ResolveUserNameTest, AppliesTheOverrideRule) {
    ZrUniString name;
    ASSERT_TRUE(credentials::ResolveUserName(ZrUniString(), 0, name));
    const ZrUniString rootName = name;
    EXPECT_FALSE(rootName.IsEmpty());

    // The superuser may name any user, even one without an account.
    ASSERT_TRUE(credentials::ResolveUserName(ZrUniString("someone-else"), 0, name));
    EXPECT_EQ(name, ZrUniString("someone-else"));

    // Anybody else only their own name.
    const passwd* other = getpwnam("daemon");
    if (other != nullptr && other->pw_uid != 0) {
        ASSERT_TRUE(credentials::ResolveUserName(ZrUniString("daemon"), other->pw_uid, name));
        EXPECT_EQ(name, ZrUniString("daemon"));
        EXPECT_FALSE(credentials::ResolveUserName(rootName, other->pw_uid, name));
    }

    // No entry for the effective user: no name, with or without an override.
    EXPECT_FALSE(credentials::ResolveUserName(ZrUniString(), 4000000000u, name));
    EXPECT_FALSE(credentials::ResolveUserName(ZrUniString("ghost"), 4000000000u, name));
}

// Through ExitBadUser: its line and status.
TEST(UserNameDeathTest, ForeignOverrideEndsTheProcess) {
    EXPECT_EXIT(
        {
            // As the superuser, step down first: only the superuser may take another name. The exit
            // handler registered here runs before the leak checker's and gives it back its rights.
            if (geteuid() == 0) {
                std::atexit([] {
                    // Changing identity also made the process undumpable, which keeps the leak
                    // checker from inspecting it.
                    if (seteuid(0) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0)
                        std::_Exit(8);
                });
                if (seteuid(1) != 0)
                    std::exit(9);
            }
            credentials::UserName(ZrUniString("not-the-current-user"));
            std::exit(0);
        },
        ::testing::ExitedWithCode(3), "^Failed to work out the current user\n$");
}

} // namespace
