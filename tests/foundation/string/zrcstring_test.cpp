#include "foundation/string/zrcstring.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ZrCString, CopyOnWriteEditsEqualityAndHash) {
    ZrCString a("utf-8");
    ZrCString b = a;
    b.ToUpper();
    EXPECT_STREQ(a.c_str(), "utf-8");
    EXPECT_STREQ(b.c_str(), "UTF-8");
    EXPECT_STREQ(ZrCString().c_str(), "");
    ZrCString s("ISO8859");
    s.Insert(3, "-", 1);
    s.Append("-1", 2);
    EXPECT_STREQ(s.c_str(), "ISO-8859-1");
    s.Remove(0, 4);
    EXPECT_STREQ(s.c_str(), "8859-1");
    EXPECT_EQ(s.Length(), 6u);
    std::string longer(300, 'x');
    s.Append(longer.data(), 300);
    EXPECT_EQ(std::string(s.c_str()), "8859-1" + longer);
    EXPECT_EQ(ZrCString("ab"), ZrCString("ab"));
    EXPECT_NE(ZrCString("ab"), ZrCString("abc"));
    EXPECT_EQ(ZrCString("\x01\x02").HashValue(), 11u);
}

} // namespace
