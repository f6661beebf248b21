#include "net/zrerror.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(ZrUnixError, WithoutCallTextStartsAtTheNumber) {
    ZrUnixError error(98);
    EXPECT_EQ(error.Reason().AsUtf8(), std::string("(98) ") + std::strerror(98));
}

TEST(ZrUnixError, WithCallTextReadsLikeTheFailedCall) {
    ZrUnixError error(9, ZrUniString("setsockopt"), ZrUniString("3,SOL_SOCKET(1),SO_SNDBUF(7),(char*)(int 5)"));
    EXPECT_EQ(error.Reason().AsUtf8(),
              std::string("setsockopt(3,SOL_SOCKET(1),SO_SNDBUF(7),(char*)(int 5)): (9) ") + std::strerror(9));
}

TEST(ZrUnixError, NegativeNumbersPrintSigned) {
    EXPECT_EQ(ZrUnixError(-1).Reason().AsUtf8().substr(0, 5), "(-1) ");
}

TEST(ZrConfigurationError, NamesKeyListAndReason) {
    ZrConfigurationError error(ZrUniString("nfsserver/mount/port"), ZrUniString("abc"), ZrUniString("not a number"));
    EXPECT_EQ(error.Reason().AsUtf8(), "Key nfsserver/mount/port gave list abc: Failure: not a number");
    ZrConfigurationError empty(ZrUniString("k"), ZrUniString(), ZrUniString("r"));
    EXPECT_EQ(empty.Reason().AsUtf8(), "Key k gave list : Failure: r");
}

TEST(ZrError, ReasonIsTheStoredText) {
    ZrError error(ZrUniString("plain"));
    const ZrError& base = error;
    EXPECT_EQ(base.Reason().AsUtf8(), "plain");
}

}  // namespace
