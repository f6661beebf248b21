// ZrDNS: resolution through the system resolver and the name cache.
#include "net/zrdns.h"

#include <gtest/gtest.h>
#include <netdb.h>

namespace {

// Asks the C library directly whether this machine's resolver knows the name; minimal images
// and containers without /etc/hosts have no "localhost".
bool SystemResolves(const char* name) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* result = nullptr;
    const bool found = ::getaddrinfo(name, nullptr, &hints, &result) == 0 && result;
    if (result)
        ::freeaddrinfo(result);
    return found;
}

TEST(DNS, ResolvesLocalhostWhateverItsCase) {
    if (!SystemResolves("localhost"))
        GTEST_SKIP() << "this machine's resolver has no entry for localhost (no /etc/hosts?)";
    ZrDList<ZrInetAddr> list;
    ASSERT_TRUE(ZrDNS::GetAddressList("LocalHost", list, true));
    EXPECT_TRUE(list.Contains(ZrInetAddr::AddressLoopback()));
}

TEST(DNS, CacheAnswersUntilTheLifetimeEnds) {
    ZrDNSCache cache(10);
    std::vector<ZrInetAddr> stored = {ZrInetAddr(1, 1, 1, 1)};
    cache.Store("name", 100, stored);
    std::vector<ZrInetAddr> found;
    EXPECT_TRUE(cache.Find("name", 109, found));
    EXPECT_EQ(found, stored);
    EXPECT_FALSE(cache.Find("name", 110, found));
    EXPECT_FALSE(cache.Find("other", 100, found));

    // Names are kept lower-cased, so any spelling finds the entry stored for another.
    ZrDNS::Cache().Store("made-up-name.test", std::time(nullptr), stored);
    ZrDList<ZrInetAddr> list;
    ASSERT_TRUE(ZrDNS::GetAddressList("Made-Up-Name.TEST", list, false));
    EXPECT_EQ(list[0], ZrInetAddr(1, 1, 1, 1));
    // Failures leave the list as it was.
    EXPECT_FALSE(ZrDNS::GetAddressList("Made-Up-Name.TEST", list, true)) << "refresh skips the cache";
    EXPECT_FALSE(ZrDNS::GetAddressList("", list, false));
    EXPECT_EQ(list.Count(), 1u);
}

} // namespace
