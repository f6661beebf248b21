// ZrInetAddr: construction, ports, text forms and its stream output.
#include "net/zrinetaddr.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "net/zrinetaddrstream.h"

namespace {

TEST(InetAddr, ConstructorsAgree) {
    ZrInetAddr octets(192, 168, 1, 20);
    EXPECT_EQ(octets.AsUint32(), 0xC0A80114u);
    EXPECT_EQ(ZrInetAddr(0xC0A80114u), octets);
    in_addr raw;
    raw.s_addr = htonl(0xC0A80114u);
    EXPECT_EQ(ZrInetAddr(&raw), octets);
    ZrInetAddr full = octets; // a socket's peer, as read from a sockaddr_in, is checked in socket_test
    ASSERT_TRUE(full.Port(2049));
    EXPECT_TRUE(full.IsAddressEqual(octets));
    EXPECT_NE(full, octets) << "ports differ";
    EXPECT_EQ(ZrInetAddr().AsString(true).AsUtf8(), "0.0.0.0:0");
    EXPECT_EQ(ZrInetAddr::AddressLoopback().AsString(false).AsUtf8(), "127.0.0.1");
    EXPECT_EQ(ZrInetAddr::AddressAny(), ZrInetAddr());

    ZrUniString text;
    ZrOSStream stream(text);
    stream << "server " << full;
    EXPECT_EQ(text.AsUtf8(), "server 192.168.1.20:2049");
}

TEST(InetAddr, PortAcceptsOnlySixteenBits) {
    ZrInetAddr address = ZrInetAddr::AddressLoopback();
    EXPECT_TRUE(address.Port(65535));
    EXPECT_EQ(address.GetPort(), 65535u);
    EXPECT_FALSE(address.Port(65536));
    EXPECT_EQ(address.GetPort(), 65535u);
    EXPECT_EQ(address.LastError().AsUtf8(), "! (0 <= port 65536 < 65536)");
}

} // namespace
