#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "app/clientwrapper.h"
#include "app/globals.h"
#include "foundation/database/zrdatabase.h"
#include "framework/platform/dispatcher.h"

namespace {

class ClientWrapperConfig : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/kp-config-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        for (int i = 0; i < 3; ++i)
            if (const char* value = getenv(kSaved[i]))
                saved[i] = value;
    }
    void TearDown() override {
        for (int i = 0; i < 3; ++i)
            saved[i] ? setenv(kSaved[i], saved[i]->c_str(), 1) : unsetenv(kSaved[i]);
        std::error_code ignored; // a left-over temporary folder fails no test
        std::filesystem::remove_all(dir, ignored);
    }
    std::string Write(const std::string& name, const std::string& text, mode_t mode = 0600) {
        std::string path = dir + "/" + name;
        std::ofstream(path) << text;
        chmod(path.c_str(), mode);
        return path;
    }
    static std::string Required() {
        return "[nfsserver/mount/port={(2049)}]\n[nfsserver/mount/realserver={(fs.example)}]\n"
               "[nfsserver/client/timeout={(5)}]\n[nfsserver/mount/mountpoint={(/srv/mnt)}]\n";
    }

    platform::Dispatcher dispatcher;
    ClientWrapper client{cout, cerr, dispatcher};
    std::string dir;
    static constexpr const char* kSaved[3] = {"USER", "HOME", "LOGNAME"};
    std::optional<std::string> saved[3];
};

TEST_F(ClientWrapperConfig, SubstitutionIsPlainTextReplacementInListOrder) {
    setenv("USER", "alice", 1);
    setenv("HOME", "/home/a", 1);
    setenv("LOGNAME", "$SITE", 1);
    setenv("SITE", "berlin", 1);
    setenv("KP_EMPTY", "", 1);
    unsetenv("KP_UNSET");
    ZrDatabase db;
    db.AppendValue(ZrUniString("nfsserver/user/envvars"), ZrUniString("SITE"));
    db.AppendValue(ZrUniString("nfsserver/user/envvars"), ZrUniString("KP_UNSET"));
    db.AppendValue(ZrUniString("nfsserver/user/envvars"), ZrUniString("KP_EMPTY"));
    struct Row {
        const char* in;
        const char* out;
    } rows[] = {
        {"$HOME/links", "/home/a/links"},
        {"$USERNAME", "aliceNAME"},              // no word boundary
        {"${USER}", "${USER}"},                  // no braces
        {"/x/$LOGNAME", "/x/berlin"},            // a value with "$" meets a later name
        {"$KP_UNSET/$KP_EMPTY.", "$KP_UNSET/."}, // unset names stay; empty values replace
        {"$USER$USER", "alicealice"},
    };
    for (const Row& row : rows) {
        ZrUniString text(row.in);
        client.PerformSubstitutions(text, &db);
        EXPECT_EQ(text.AsUtf8(), row.out) << row.in;
    }
    unsetenv("USER");
    ZrUniString tmp("/tmp/$USER");
    client.PerformSubstitutions(tmp, nullptr);
    EXPECT_EQ(tmp.AsUtf8(), "/tmp/$USER");
}

TEST_F(ClientWrapperConfig, LoadConfigDefaultsTheLink) {
    setenv("HOME", "/somewhere/else", 1);
    client.LoadConfig(ZrUniString((Required() + "[unrelated={( x )}]").c_str()));
    // The connection values are the end-to-end suite's: the agent reaches the simulator with them.
    EXPECT_EQ(client.SymlinkName().AsUtf8(), "My WEX Drives");
    // The link directory defaults to the account's home directory, not to $HOME.
    struct passwd* pw = getpwuid(geteuid());
    ASSERT_NE(pw, nullptr);
    EXPECT_EQ(client.SymlinkDir().AsUtf8(), pw->pw_dir);
}

TEST_F(ClientWrapperConfig, ConfiguredLinkDirectoryIsSubstituted) {
    setenv("HOME", "/home/a", 1);
    setenv("SITE", "berlin", 1);
    client.LoadConfig(ZrUniString((Required() + "[nfsserver/user/symlinkdir={($HOME/$SITE/links)}]\n"
                                                "[nfsserver/user/envvars={(SITE)}]\n"
                                                "[nfsserver/user/symlinkname={( Drives )}]\n")
                                      .c_str()));
    EXPECT_EQ(client.SymlinkDir().AsUtf8(), "/home/a/berlin/links");
    EXPECT_EQ(client.SymlinkName().AsUtf8(), " Drives ") << "values are stored unchanged";
}

TEST_F(ClientWrapperConfig, ParserErrorsArePassedOnQuoted) {
    EXPECT_EXIT(client.LoadConfig(ZrUniString("[k]")), ::testing::ExitedWithCode(3),
                "^Failed while parsing server config: \"Error: found \"\\(EOF\\)\" at character 4 in line 1 "
                "whilst looking for \"=\"\"\n$");
}

} // namespace
