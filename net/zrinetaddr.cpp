#include "net/zrinetaddr.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <string>

ZrInetAddr::ZrInetAddr() {
    std::memset(&m_address, 0, sizeof m_address);
    m_address.sin_family = AF_INET;
}

ZrInetAddr::ZrInetAddr(const sockaddr_in* address) : ZrInetAddr() {
    *this = address;
}

ZrInetAddr::ZrInetAddr(const in_addr* address) : ZrInetAddr() {
    if (address)
        m_address.sin_addr = *address;
}

ZrInetAddr::ZrInetAddr(unsigned char a, unsigned char b, unsigned char c, unsigned char d)
    : ZrInetAddr(uint32_t(a) << 24 | uint32_t(b) << 16 | uint32_t(c) << 8 | uint32_t(d)) {}

ZrInetAddr::ZrInetAddr(uint32_t address) : ZrInetAddr() {
    m_address.sin_addr.s_addr = htonl(address);
}

ZrInetAddr& ZrInetAddr::operator=(const sockaddr_in* address) {
    if (address) {
        m_address = *address;
        m_address.sin_family = AF_INET;
    }
    return *this;
}

ZrInetAddr ZrInetAddr::AddressAny() {
    return ZrInetAddr(uint32_t(INADDR_ANY));
}

ZrInetAddr ZrInetAddr::AddressLoopback() {
    return ZrInetAddr(uint32_t(INADDR_LOOPBACK));
}

unsigned int ZrInetAddr::GetPort() const {
    return ntohs(m_address.sin_port);
}

bool ZrInetAddr::Port(unsigned int port) {
    if (port > 65535) {
        m_lastError = ZrUniString(("! (0 <= port " + std::to_string(port) + " < 65536)").c_str());
        return false;
    }
    m_address.sin_port = htons(static_cast<uint16_t>(port));
    return true;
}

uint32_t ZrInetAddr::AsUint32() const {
    return ntohl(m_address.sin_addr.s_addr);
}

bool ZrInetAddr::IsAddressEqual(const ZrInetAddr& other) const {
    return m_address.sin_addr.s_addr == other.m_address.sin_addr.s_addr;
}

bool ZrInetAddr::operator==(const ZrInetAddr& other) const {
    return IsAddressEqual(other) && m_address.sin_port == other.m_address.sin_port;
}

// Not called by the agent; parses "a.b.c.d[:port]"; the agent resolves names instead.
bool ZrInetAddr::FromString(const ZrUniString& text, bool withPort) {
    std::string bytes = text.AsUtf8();
    // sscanf would skip blanks and accept signs; the text must be digits, dots and a colon only.
    for (char c : bytes)
        if (!(c >= '0' && c <= '9') && c != '.' && c != ':')
            return false;
    unsigned int n[5] = {0, 0, 0, 0, 0};
    int used = -1;
    int fields =
        withPort ? std::sscanf(bytes.c_str(), "%u.%u.%u.%u:%u%n", &n[0], &n[1], &n[2], &n[3], &n[4], &used)
                 : std::sscanf(bytes.c_str(), "%u.%u.%u.%u%n", &n[0], &n[1], &n[2], &n[3], &used);
    if (fields != (withPort ? 5 : 4) || used != static_cast<int>(bytes.size()))
        return false;
    for (int i = 0; i < 4; ++i)
        if (n[i] > 255)
            return false;
    if (withPort && n[4] > 65535)
        return false;
    m_address.sin_addr.s_addr = htonl(n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3]);
    if (withPort)
        m_address.sin_port = htons(static_cast<uint16_t>(n[4]));
    return true;
}

ZrUniString ZrInetAddr::AsString(bool withPort) const {
    uint32_t a = AsUint32();
    char text[32];
    if (withPort)
        std::snprintf(text, sizeof text, "%u.%u.%u.%u:%u", a >> 24, (a >> 16) & 0xFF, (a >> 8) & 0xFF,
                      a & 0xFF, GetPort());
    else
        std::snprintf(text, sizeof text, "%u.%u.%u.%u", a >> 24, (a >> 16) & 0xFF, (a >> 8) & 0xFF, a & 0xFF);
    return ZrUniString(text);
}

// Not called by the agent; the address's own wire form, with Write below.
bool ZrInetAddr::Read(const unsigned char*& data, unsigned long& remaining) {
    if (remaining < 4)
        return false;
    std::memcpy(&m_address.sin_addr.s_addr, data, 4);
    data += 4;
    remaining -= 4;
    return true;
}

void ZrInetAddr::Write(unsigned char*& out) const {
    std::memcpy(out, &m_address.sin_addr.s_addr, 4);
    out += 4;
}
