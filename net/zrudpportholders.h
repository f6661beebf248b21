// ZrUdpPortHolders: the accounts that hold the UDP sockets of this host which would receive a
// datagram sent to one IPv4 address and port, asked of the kernel's socket diagnostics over netlink
// (one dump of the IPv4 and one of the IPv6 UDP sockets on that port, each socket with its local
// address and its owner's uid). The replies are outside input: a message that does not read as the
// kernel's answer, a refusal or a reply cut short fails the whole reading, so a caller that decides
// on it refuses rather than trusting a part. Nothing throws; failures return false and keep a
// reason (LastError).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/string/zrunistring.h"
#include "net/zrinetaddr.h"

class ZrUdpPortHolders {
public:
    ZrUdpPortHolders() = default;
    ~ZrUdpPortHolders();
    ZrUdpPortHolders(const ZrUdpPortHolders&) = delete;
    ZrUdpPortHolders& operator=(const ZrUdpPortHolders&) = delete;

    // True when the address (port aside) is this host's: loopback, the wildcard, or an address of
    // one of its interfaces (one it can bind to); also when that cannot be told, so that callers check.
    static bool IsLocalAddress(const ZrInetAddr& address);

    // Asks the kernel for the owners of every socket bound to the address's port and to the address
    // itself, to the IPv4 wildcard, to the IPv6 wildcard (a dual-stack socket) or to the address
    // mapped into IPv6. The netlink socket opened by the first reading serves the next ones; one
    // that failed is closed and the next reading opens another.
    [[nodiscard]] bool Read(const ZrInetAddr& address);
    // Reads one datagram of the kernel's reply to dump request `sequence`, appending owners; `done`
    // is set by the dump's last message, which must end the datagram.
    [[nodiscard]] bool ReadReply(const unsigned char* data, size_t size, uint32_t sequence,
                                 const ZrInetAddr& address, bool& done);

    // One uid per socket found, in reply order (an account holding two sockets comes twice).
    const std::vector<uint32_t>& Owners() const { return m_owners; }
    const ZrUniString& LastError() const { return m_lastError; }

private:
    bool Fail(const char* why);
    bool Dump(int family, const ZrInetAddr& address);

    int m_socket = -1;
    uint32_t m_sequence = 0;
    std::vector<uint32_t> m_owners;
    ZrUniString m_lastError;
};
