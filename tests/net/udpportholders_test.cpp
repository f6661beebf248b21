// Who holds a UDP port: socket tables in the kernel's layout read for 127.0.0.1:7000 (port 1B58),
// texts that are no such table, and this host's own tables.
#include "net/zrudpportholders.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "net/zrsocket.h"

namespace {

const std::string kHeading =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid\n";

// One socket's line: its local and remote address fields, then the columns up to its owner.
std::string Line(const std::string& local, const std::string& remote, const std::string& uid) {
    return "   7: " + local + " " + remote + " 07 00000000:00000000 00:00000000 00000000 " + uid +
           "        0 4242 2 0000000000000000 0\n";
}

ZrInetAddr Server(uint32_t address = 0x7F000001) {
    ZrInetAddr server(address);
    EXPECT_TRUE(server.Port(7000));
    return server;
}

TEST(UdpPortHolders, EverySocketThatWouldReceiveIsFound) {
    const std::string none4 = "00000000:0000", none6 = std::string(32, '0') + ":0000";
    const std::string udp = kHeading + Line("0100007F:1B58", none4, "1") + Line("00000000:1B58", none4, "2") +
                            Line("0200007F:1B58", none4, "3") + Line("0100007F:1B59", none4, "4") +
                            Line("0100007F:1B58", "0100000A:0035", "5");
    const std::string udp6 = kHeading + Line(std::string(32, '0') + ":1B58", none6, "6") +
                             Line("0000000000000000FFFF00000100007F:1B58", none6, "7") +
                             Line("00000000000000000000000001000000:1B58", none6, "8") +
                             Line("0000000000000000FFFF00000200007F:1B58", none6, "9");
    ZrUdpPortHolders holders;
    ASSERT_TRUE(holders.ReadTable(udp, false, Server()));
    ASSERT_TRUE(holders.ReadTable(udp6, true, Server()));
    EXPECT_EQ(holders.Owners(), (std::vector<uint32_t>{1, 2, 5, 6, 7}));
    // The wildcard address stands for loopback.
    ZrUdpPortHolders any;
    ASSERT_TRUE(any.ReadTable(udp, false, Server(0)));
    EXPECT_EQ(any.Owners(), (std::vector<uint32_t>{1, 2, 5}));
}

TEST(UdpPortHolders, WhatIsNoTableFailsWhole) {
    const std::string none4 = "00000000:0000", good = Line("0100007F:1B58", none4, "0");
    const std::string texts[] = {
        "",
        good,                                                     // no heading
        kHeading + good.substr(0, good.size() - 1),               // cut short
        kHeading + good + Line("0100007F:1B5", none4, "0"),       // three port digits
        kHeading + good + Line("0100007G:1B58", none4, "0"),      // not hexadecimal
        kHeading + good + Line("0100007F:1B58", "00000000", "0"), // remote without port
        kHeading + good + Line("0100007F:1B58", none4, "-1"),
        kHeading + good + Line("0100007F:1B58", none4, "4294967296"),
        kHeading + good + "   7: 0100007F:1B58\n",
        kHeading + good + Line(std::string(32, '0') + ":1B58", none4, "0"), // an IPv6 line
    };
    for (const std::string& text : texts) {
        ZrUdpPortHolders holders;
        EXPECT_FALSE(holders.ReadTable(text, false, Server())) << text;
        EXPECT_NE(holders.LastError().Length(), 0u);
    }
}

TEST(UdpPortHolders, ThisHostsTablesShowOurSocket) {
    ZrSocket socket;
    ZrInetAddr bound;
    ASSERT_TRUE(socket.Bind(ZrInetAddr::AddressLoopback(), ZrSocket::datagram, false, 0, false));
    ASSERT_TRUE(socket.LocalAddress(bound));
    ZrUdpPortHolders holders;
    ASSERT_TRUE(holders.Read(bound)) << holders.LastError().AsUtf8();
    EXPECT_EQ(holders.Owners(), std::vector<uint32_t>{static_cast<uint32_t>(geteuid())});
    EXPECT_TRUE(ZrUdpPortHolders::IsLocalAddress(bound));
    EXPECT_FALSE(ZrUdpPortHolders::IsLocalAddress(ZrInetAddr(192, 0, 2, 1))); // a documentation address
}

} // namespace
