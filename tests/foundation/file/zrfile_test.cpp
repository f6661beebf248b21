#include "foundation/file/zrfile.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

class ZrFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/zrfile-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override {
        std::error_code ignored; // a left-over temporary folder fails no test
        std::filesystem::remove_all(dir, ignored);
    }
    ZrUniString Path(const std::string& name) const { return ZrUniString((dir + "/" + name).c_str()); }
    void Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(dir + "/" + name, std::ios::binary) << bytes;
    }
    std::string dir;
};

TEST_F(ZrFileTest, ReadFileReadsEveryByteOfLargeAndEmptyFiles) {
    std::string big(100000, '\0');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>(i * 7);
    Write("big", big);
    Write("empty", "");
    ZrByteBuffer out;
    ASSERT_TRUE(ZrFile::ReadFile(Path("big"), out));
    ASSERT_EQ(out.Length(), big.size());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.Data()), out.Length()), big);
    ASSERT_TRUE(ZrFile::ReadFile(Path("empty"), out));
    EXPECT_EQ(out.Length(), 0u);
    EXPECT_FALSE(ZrFile::ReadFile(Path("missing"), out));
    EXPECT_FALSE(ZrFile::ReadFile(ZrUniString(dir.c_str()), out)) << "a directory cannot be read as a file";
}

TEST_F(ZrFileTest, ExistenceCountsDanglingLinks) {
    ASSERT_TRUE(ZrFile::Symlink(Path("nowhere"), Path("dangling")));
    EXPECT_TRUE(ZrFile::Exists(Path("dangling")));
    EXPECT_TRUE(ZrFile::IsSymlink(Path("dangling")));
    ZrUniString target;
    ASSERT_TRUE(ZrFile::ReadSymlink(Path("dangling"), target));
    EXPECT_EQ(target, Path("nowhere"));
    Write("plain", "x");
    EXPECT_TRUE(ZrFile::Exists(Path("plain")));
    EXPECT_FALSE(ZrFile::IsSymlink(Path("plain")));
    EXPECT_FALSE(ZrFile::ReadSymlink(Path("plain"), target));
    EXPECT_FALSE(ZrFile::Exists(Path("missing")));
    EXPECT_TRUE(ZrFile::Unlink(Path("dangling")));
    EXPECT_FALSE(ZrFile::Exists(Path("dangling")));
    EXPECT_FALSE(ZrFile::Unlink(Path("dangling")));
}

// Names with blanks and non-ASCII reach the system as UTF-8; the mode follows links.
TEST_F(ZrFileTest, NamesReachTheSystemAsUtf8AndModeFollowsLinks) {
    ASSERT_TRUE(ZrFile::Symlink(Path("secret"), Path("My WEX Drives \xc3\xa9")));
    char buffer[256] = {};
    ASSERT_GT(readlink((dir + "/My WEX Drives \xc3\xa9").c_str(), buffer, sizeof buffer - 1), 0);
    EXPECT_EQ(buffer, dir + "/secret");
    Write("secret", "x");
    ASSERT_EQ(chmod((dir + "/secret").c_str(), 0640), 0);
    mode_t mode = 0;
    ASSERT_TRUE(ZrFile::Mode(Path("My WEX Drives \xc3\xa9"), mode));
    EXPECT_EQ(mode & 0777, 0640u);
    EXPECT_FALSE(ZrFile::Mode(Path("missing"), mode));
    EXPECT_TRUE(ZrFile::OthersMayRead(Path("secret")));
    for (mode_t readable : {0604, 0040}) {
        ASSERT_EQ(chmod((dir + "/secret").c_str(), readable), 0);
        EXPECT_TRUE(ZrFile::OthersMayRead(Path("secret"))) << readable;
    }
    ASSERT_EQ(chmod((dir + "/secret").c_str(), 0733), 0);
    EXPECT_FALSE(ZrFile::OthersMayRead(Path("secret")));
    EXPECT_FALSE(ZrFile::OthersMayRead(Path("missing")));
}

TEST(ZrEnvironment, DistinguishesUnsetFromEmpty) {
    setenv("ZR_TEST_EMPTY", "", 1);
    setenv("ZR_TEST_VALUE", "/home/a", 1);
    unsetenv("ZR_TEST_UNSET");
    ZrUniString value("before");
    EXPECT_TRUE(ZrEnvironment::Get(ZrUniString("ZR_TEST_EMPTY"), value));
    EXPECT_EQ(value.Length(), 0u);
    EXPECT_TRUE(ZrEnvironment::Get(ZrUniString("ZR_TEST_VALUE"), value));
    EXPECT_EQ(value.AsUtf8(), "/home/a");
    EXPECT_FALSE(ZrEnvironment::Get(ZrUniString("ZR_TEST_UNSET"), value));
}

} // namespace
