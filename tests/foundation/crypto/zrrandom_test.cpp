#include "foundation/crypto/zrrandom.h"

#include <gtest/gtest.h>

#include <set>

namespace {

TEST(ZrRandomTest, StaysBelowTheBoundReachesEveryValueAndVaries) {
    EXPECT_EQ(ZrRandom::RndNum(0), 0u);
    EXPECT_EQ(ZrRandom::RndNum(1), 0u);
    std::set<uint32_t> seen, wide;
    for (int i = 0; i < 2000; ++i) {
        uint32_t v = ZrRandom::RndNum(7);
        ASSERT_LT(v, 7u);
        seen.insert(v);
    }
    EXPECT_EQ(seen.size(), 7u);
    for (int i = 0; i < 100; ++i)
        wide.insert(ZrRandom::RndNum());
    EXPECT_GT(wide.size(), 95u);
}

} // namespace
