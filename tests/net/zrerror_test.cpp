#include "net/zrerror.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// The plain ZrError's text reaches its readers through ZrOFStream (zrostream_test).
TEST(ZrError, ReasonsReadLikeTheFailedCallOrTheKey) {
    const struct {
        ZrUniString reason;
        std::string expected;
    } rows[] = {
        {ZrUnixError(98).Reason(), std::string("(98) ") + std::strerror(98)}, // no call: starts at the number
        {ZrUnixError(-1).Reason(), std::string("(-1) ") + std::strerror(-1)}, // printed signed
        {ZrUnixError(9, ZrUniString("setsockopt"), ZrUniString("3,SOL_SOCKET(1),SO_SNDBUF(7),(char*)(int 5)"))
             .Reason(),
         std::string("setsockopt(3,SOL_SOCKET(1),SO_SNDBUF(7),(char*)(int 5)): (9) ") + std::strerror(9)},
        {ZrConfigurationError(ZrUniString("nfsserver/mount/port"), ZrUniString("abc"),
                              ZrUniString("not a number"))
             .Reason(),
         "Key nfsserver/mount/port gave list abc: Failure: not a number"},
        {ZrConfigurationError(ZrUniString("k"), ZrUniString(), ZrUniString("r")).Reason(),
         "Key k gave list : Failure: r"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.reason.AsUtf8(), row.expected);
}

} // namespace
