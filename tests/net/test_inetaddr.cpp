// ZrInetAddr: construction, ports, text forms and its stream output.
#include "net/zrinetaddr.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>

#include "net/zrinetaddrstream.h"

namespace {

TEST(InetAddr, ConstructorsAgree) {
    ZrInetAddr octets(192, 168, 1, 20);
    EXPECT_EQ(octets.AsUint32(), 0xC0A80114u);
    EXPECT_EQ(ZrInetAddr(0xC0A80114u), octets);
    in_addr raw;
    raw.s_addr = htonl(0xC0A80114u);
    EXPECT_EQ(ZrInetAddr(&raw), octets);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(2049);
    sa.sin_addr = raw;
    ZrInetAddr full(&sa);
    EXPECT_EQ(full.GetPort(), 2049u);
    EXPECT_TRUE(full.IsAddressEqual(octets));
    EXPECT_NE(full, octets) << "ports differ";
    EXPECT_EQ(ZrInetAddr().AsString(true).AsUtf8(), "0.0.0.0:0");
    EXPECT_EQ(ZrInetAddr::AddressLoopback().AsString(false).AsUtf8(), "127.0.0.1");
    EXPECT_EQ(ZrInetAddr::AddressAny(), ZrInetAddr());

    ZrUniString text;
    ZrOSStream stream(text);
    stream << "server " << full;
    EXPECT_EQ(text.AsUtf8(), "server 192.168.1.20:2049");
    const unsigned char bytes[5] = {127, 0, 0, 1, 9}, *data = bytes;
    unsigned long remaining = 5;
    ASSERT_TRUE(full.Read(data, remaining));
    EXPECT_TRUE(full.IsAddressEqual(ZrInetAddr::AddressLoopback()));
    EXPECT_FALSE(full.Read(data, remaining)) << "one byte left";
    unsigned char out[4] = {}, *p = out;
    octets.Write(p);
    EXPECT_EQ(std::string(out, p), std::string("\xC0\xA8\x01\x14"));
}

TEST(InetAddr, PortAcceptsOnlySixteenBits) {
    ZrInetAddr address = ZrInetAddr::AddressLoopback();
    EXPECT_TRUE(address.Port(65535));
    EXPECT_EQ(address.GetPort(), 65535u);
    EXPECT_FALSE(address.Port(65536));
    EXPECT_EQ(address.GetPort(), 65535u);
    EXPECT_EQ(address.LastError().AsUtf8(), "! (0 <= port 65536 < 65536)");
}

TEST(InetAddr, FromStringNeedsEveryNumber) {
    struct Row {
        const char* text;
        bool withPort;
        bool ok;
        const char* result; // AsString(true) after a success
    } rows[] = {
        {"10.1.2.3:8080", true, true, "10.1.2.3:8080"},
        {"10.1.2.3", false, true, "10.1.2.3:7"},
        {"10.1.2.3", true, false, nullptr},       // port missing
        {"10.1.2.3:", true, false, nullptr},      // port empty
        {"10.1.2.3:80", false, false, nullptr},   // trailing text
        {"10.1.2", false, false, nullptr},        // an octet missing
        {"10.1.2.256", false, false, nullptr},    // octet out of range
        {"10.1.2.3:65536", true, false, nullptr}, // port out of range
        {" 10.1.2.3", false, false, nullptr},     // leading blank
        {"a.b.c.d", false, false, nullptr},
        {"", false, false, nullptr},
    };
    for (const Row& row : rows) {
        ZrInetAddr address(1, 1, 1, 1);
        address.Port(7);
        EXPECT_EQ(address.FromString(row.text, row.withPort), row.ok) << row.text;
        EXPECT_EQ(address.AsString(true).AsUtf8(), row.ok ? row.result : "1.1.1.1:7") << row.text;
    }
}

} // namespace
