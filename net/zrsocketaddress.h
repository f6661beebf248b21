// ZrSocketAddress: where a ZrSocket binds or connects, either an IPv4 address with port or a local
// (Unix-domain) path. A plain value; Fill never fails (a path too long for sockaddr_un is cut).
#pragma once

#include <sys/socket.h>

#include "net/zrinetaddr.h"

class ZrSocketAddress {
public:
    // Implicit on purpose: an internet address is the common case.
    ZrSocketAddress(const ZrInetAddr& address) : m_inet(address) {}
    explicit ZrSocketAddress(const ZrUniString& localPath) : m_path(localPath), m_local(true) {}

    bool IsLocal() const { return m_local; }
    const ZrInetAddr& Inet() const { return m_inet; }
    const ZrUniString& Path() const { return m_path; }

    // Writes the socket address into `storage` and returns the length to pass to bind/connect:
    // 16 for an internet address, the path's length plus 3 for a local path.
    socklen_t Fill(sockaddr_storage& storage) const;
    int Domain() const { return m_local ? AF_UNIX : AF_INET; }
    // The address for failure traces.
    ZrUniString AsString() const { return m_local ? m_path : m_inet.AsString(true); }

private:
    ZrInetAddr m_inet;
    ZrUniString m_path;
    bool m_local = false;
};
