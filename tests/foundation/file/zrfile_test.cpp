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
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.Data()), out.Length()), big);
    ASSERT_TRUE(ZrFile::ReadFile(Path("empty"), out));
    EXPECT_EQ(out.Length(), 0u);
    EXPECT_FALSE(ZrFile::ReadFile(Path("missing"), out));
    EXPECT_FALSE(ZrFile::ReadFile(ZrUniString(dir.c_str()), out)) << "a directory cannot be read as a file";
}

// A dangling link exists; names with blanks and non-ASCII reach the system as UTF-8; the mode
// follows links.
TEST_F(ZrFileTest, LinksExistWhileDanglingAndModesFollowThem) {
    const ZrUniString link = Path("My WEX Drives \xc3\xa9");
    ASSERT_TRUE(ZrFile::Symlink(Path("secret"), link));
    EXPECT_TRUE(ZrFile::Exists(link));
    EXPECT_TRUE(ZrFile::IsSymlink(link));
    char buffer[256] = {};
    ASSERT_GT(readlink((dir + "/My WEX Drives \xc3\xa9").c_str(), buffer, sizeof buffer - 1), 0);
    EXPECT_EQ(buffer, dir + "/secret");
    mode_t mode = 0;
    EXPECT_FALSE(ZrFile::Mode(link, mode));
    Write("secret", "x");
    EXPECT_FALSE(ZrFile::IsSymlink(Path("secret")));
    ASSERT_EQ(chmod((dir + "/secret").c_str(), 0640), 0);
    ASSERT_TRUE(ZrFile::Mode(link, mode));
    EXPECT_EQ(mode & 0777, 0640u);
    EXPECT_TRUE(ZrFile::OthersMayRead(link)); // the mode bits one by one: the personal-file test
    EXPECT_FALSE(ZrFile::OthersMayRead(Path("missing")));
    EXPECT_FALSE(ZrFile::Exists(Path("missing")));
    EXPECT_TRUE(ZrFile::Unlink(link));
    EXPECT_FALSE(ZrFile::Exists(link));
    EXPECT_FALSE(ZrFile::Unlink(link));
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
    setenv("ZR_TEST_LATIN1", "/home/j\xFCrgen", 1); // not UTF-8: never used cut short
    EXPECT_FALSE(ZrEnvironment::Get(ZrUniString("ZR_TEST_LATIN1"), value));
    EXPECT_EQ(value.AsUtf8(), "/home/a");
}

} // namespace
