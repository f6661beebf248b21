// ZrUdpPortHolders: the accounts that hold the UDP sockets of this host which would receive a
// datagram sent to one IPv4 address and port, read from the kernel's socket tables (/proc/net/udp
// and /proc/net/udp6: one line per socket with its local address and its owner's uid). The tables
// are outside input: a text that does not read as a table fails the whole reading, so a caller
// that decides on it refuses rather than trusting a part. Nothing throws; failures return false
// and keep a reason (LastError).
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "foundation/string/zrunistring.h"
#include "net/zrinetaddr.h"

class ZrUdpPortHolders {
public:
    // True when the address (port aside) is this host's: loopback, the wildcard, or an address of
    // one of its interfaces (one it can bind to); also when that cannot be told, so that callers check.
    static bool IsLocalAddress(const ZrInetAddr& address);

    // Reads both tables of this host and keeps the owners of every socket bound to the address's
    // port and to the address itself, to the IPv4 wildcard, to the IPv6 wildcard (a dual-stack
    // socket) or to the address mapped into IPv6. A host without IPv6 has no udp6 table.
    [[nodiscard]] bool Read(const ZrInetAddr& address);
    // The same for the text of one table (`ipv6`: the layout of udp6); owners are appended.
    [[nodiscard]] bool ReadTable(std::string_view table, bool ipv6, const ZrInetAddr& address);
    // The same for a table file, read line by line (a missing udp6 table holds nothing).
    [[nodiscard]] bool ReadTableFile(const char* path, bool ipv6, const ZrInetAddr& address);

    // One uid per socket found, in table order (an account holding two sockets comes twice).
    const std::vector<uint32_t>& Owners() const { return m_owners; }
    const ZrUniString& LastError() const { return m_lastError; }

private:
    bool Fail(const char* why);
    bool ReadHeading(std::string_view line);
    bool ReadLine(std::string_view line, bool ipv6, const ZrInetAddr& address);

    std::vector<uint32_t> m_owners;
    ZrUniString m_lastError;
};
