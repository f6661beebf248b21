// Who holds a UDP port: socket tables in the kernel's layout read for 127.0.0.1:7000 (port 1B58),
// texts that are no such table, and this host's own tables.
#include "net/zrudpportholders.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "net/zrsocket.h"

namespace {

const std::string kHeading =
                      "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid\n",
                  kNone4 = "00000000:0000", kNone6 = std::string(32, '0') + ":0000";

// One socket's line: its local and remote address fields and its owner, amid the other columns.
std::string Line(const std::string& local, const std::string& uid, const std::string& remote = kNone4) {
    return "   7: " + local + " " + remote + " 07 00000000:00000000 00:00000000 00000000 " + uid +
           " 0 4242 2 0 0\n";
}

TEST(UdpPortHolders, EverySocketThatWouldReceiveIsFoundAndNoTableFailsWhole) {
    const std::string udp = kHeading + Line("0100007F:1B58", "1") + Line("00000000:1B58", "2") +
                            Line("0200007F:1B58", "3") + Line("0100007F:1B59", "4") +
                            Line("0100007F:1B58", "5", "0100000A:0035");
    const std::string udp6 = kHeading + Line(std::string(32, '0') + ":1B58", "6", kNone6) +
                             Line("0000000000000000FFFF00000100007F:1B58", "7", kNone6) +
                             Line("00000000000000000000000001000000:1B58", "8", kNone6) +
                             Line("0000000000000000FFFF00000200007F:1B58", "9", kNone6);
    for (uint32_t address : {0x7F000001u, 0u}) { // the wildcard address stands for loopback
        ZrInetAddr server(address);
        ASSERT_TRUE(server.Port(7000));
        ZrUdpPortHolders holders;
        ASSERT_TRUE(holders.ReadTable(udp, false, server) && holders.ReadTable(udp6, true, server));
        EXPECT_EQ(holders.Owners(), (std::vector<uint32_t>{1, 2, 5, 6, 7}));
    }
    const std::string good = Line("0100007F:1B58", "0"), table = kHeading + good;
    for (const std::string& text :
         {std::string(), good, table.substr(0, table.size() - 1), table + Line("0100007F:1B5", "0"),
          table + Line("0100007G:1B58", "0"), table + Line("0100007F:1B58", "0", "00000000"),
          table + Line("0100007F:1B58", "-1"), table + Line("0100007F:1B58", "4294967296"),
          table + "   7: 0100007F:1B58\n", table + Line(std::string(32, '0') + ":1B58", "0")}) {
        ZrUdpPortHolders holders;
        EXPECT_FALSE(holders.ReadTable(text, false, ZrInetAddr(0x7F000001u))) << text;
        EXPECT_NE(holders.LastError().Length(), 0u);
    }
}

// Read through its page-sized buffer, a long file gives what its text gives; one cut short fails.
TEST(UdpPortHolders, FilesAreReadAsTheirTextAndThisHostsShowOurSocket) {
    ZrInetAddr server(0x7F000001u), bound;
    ASSERT_TRUE(server.Port(7000));
    std::string table = kHeading, path = ::testing::TempDir() + "udp";
    std::vector<uint32_t> expected;
    for (uint32_t i = 0; i < 60; ++i, expected.push_back(i - 1))
        table += Line("0100007F:1B58", std::to_string(i));
    for (size_t length : {size_t{4000}, table.size()}) {
        std::FILE* f = std::fopen(path.c_str(), "w");
        ASSERT_TRUE(f && std::fwrite(table.data(), 1, length, f) + std::fclose(f) == length) << path;
        ZrUdpPortHolders holders;
        EXPECT_EQ(holders.ReadTableFile(path.c_str(), false, server), length == table.size());
        EXPECT_TRUE(length != table.size() || holders.Owners() == expected);
    }
    ZrSocket socket;
    ASSERT_TRUE(socket.Bind(ZrInetAddr::AddressLoopback(), ZrSocket::datagram, false, 0, false) &&
                socket.LocalAddress(bound));
    ZrUdpPortHolders holders;
    ASSERT_TRUE(holders.Read(bound)) << holders.LastError().AsUtf8();
    EXPECT_EQ(holders.Owners(), std::vector<uint32_t>{static_cast<uint32_t>(geteuid())});
    EXPECT_TRUE(ZrUdpPortHolders::IsLocalAddress(bound) &&
                !ZrUdpPortHolders::IsLocalAddress(ZrInetAddr(192, 0, 2, 1)));
}

} // namespace
