// ZrInetAddr: an IPv4 address with a port, held as a sockaddr_in in network order. A plain value:
// copies are independent. Nothing throws; Port and FromString return false on bad input and keep
// the address as it was (Port also records why, see LastError).
#pragma once

#include <netinet/in.h>

#include <cstdint>

#include "foundation/string/zrunistring.h"

class ZrInetAddr {
public:
    // 0.0.0.0, port 0.
    ZrInetAddr();
    ZrInetAddr(const ZrInetAddr& other) = default;
    ZrInetAddr& operator=(const ZrInetAddr& other) = default;
    explicit ZrInetAddr(const sockaddr_in* address);
    // The address alone; the port is 0.
    explicit ZrInetAddr(const in_addr* address);
    ZrInetAddr(unsigned char a, unsigned char b, unsigned char c, unsigned char d);
    // `address` in host order: 0x7F000001 is 127.0.0.1.
    explicit ZrInetAddr(uint32_t address);

    ZrInetAddr& operator=(const sockaddr_in* address);

    static ZrInetAddr AddressAny();
    static ZrInetAddr AddressLoopback();

    unsigned int GetPort() const;
    // Accepts 0 to 65535; anything larger leaves the address alone and records the reason.
    bool Port(unsigned int port);
    // The address in host order.
    uint32_t AsUint32() const;
    // Compares the addresses only; ports may differ.
    bool IsAddressEqual(const ZrInetAddr& other) const;
    bool operator==(const ZrInetAddr& other) const;
    bool operator!=(const ZrInetAddr& other) const { return !(*this == other); }

    // "a.b.c.d" or, with a port, "a.b.c.d:port"; all numbers must be there and in range (octets
    // up to 255), and nothing may follow.
    bool FromString(const ZrUniString& text, bool withPort);
    ZrUniString AsString(bool withPort) const;

    // The address as four bytes in network order; Read fails on fewer than four bytes.
    bool Read(const unsigned char*& data, unsigned long& remaining);
    void Write(unsigned char*& out) const;

    const sockaddr_in& SockAddr() const { return m_address; }
    // Why the last Port call failed; empty when none has.
    const ZrUniString& LastError() const { return m_lastError; }

private:
    sockaddr_in m_address;
    ZrUniString m_lastError;
};
