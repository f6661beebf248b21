#include "net/zrudpportholders.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// `count` hexadecimal digits, the first the most significant, and nothing else.
bool Hex(std::string_view digits, size_t count, uint32_t& value) {
    if (digits.size() != count)
        return false;
    value = 0;
    for (char c : digits) {
        unsigned digit;
        if (c >= '0' && c <= '9')
            digit = static_cast<unsigned>(c - '0');
        else if (c >= 'A' && c <= 'F')
            digit = static_cast<unsigned>(c - 'A' + 10);
        else if (c >= 'a' && c <= 'f')
            digit = static_cast<unsigned>(c - 'a' + 10);
        else
            return false;
        value = value << 4 | digit;
    }
    return true;
}

// A uid in decimal, at most 2^32 - 1.
bool Decimal(std::string_view digits, uint32_t& value) {
    if (digits.empty() || digits.size() > 10)
        return false;
    uint64_t v = 0;
    for (char c : digits) {
        if (c < '0' || c > '9')
            return false;
        v = v * 10 + static_cast<unsigned>(c - '0');
    }
    value = static_cast<uint32_t>(v);
    return v <= UINT32_MAX;
}

// The next field of a line, ending at a blank; empty once the line is used up.
std::string_view NextField(std::string_view& line) {
    size_t start = line.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        line = {};
        return {};
    }
    line.remove_prefix(start);
    size_t end = line.find(' ');
    std::string_view field = line.substr(0, end);
    line.remove_prefix(end == std::string_view::npos ? line.size() : end);
    return field;
}

// A local or remote address field, "<words>:<port>": 1 word of 8 digits for IPv4, 4 for IPv6, each
// the address's bytes as the kernel holds them, read as one native 32-bit number.
bool Address(std::string_view field, int words, uint32_t (&address)[4], uint32_t& port) {
    size_t colon = static_cast<size_t>(words) * 8;
    if (field.size() != colon + 5 || field[colon] != ':' || !Hex(field.substr(colon + 1), 4, port))
        return false;
    for (int i = 0; i < words; ++i)
        if (!Hex(field.substr(static_cast<size_t>(i) * 8, 8), 8, address[i]))
            return false;
    return true;
}

} // namespace

bool ZrUdpPortHolders::IsLocalAddress(const ZrInetAddr& address) {
    uint32_t host = address.AsUint32();
    if (host == 0 || host >> 24 == 127)
        return true;
    // Only an address of this host can be bound (unless the system lets any be, and then the
    // address counts as local: a check too many costs one reading of the tables).
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return true;
    sockaddr_in local = address.SockAddr();
    local.sin_port = 0;
    bool bound = ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
    int error = errno;
    ::close(fd);
    return bound || error != EADDRNOTAVAIL;
}

bool ZrUdpPortHolders::Fail(const char* why) {
    m_lastError = ZrUniString(why);
    return false;
}

bool ZrUdpPortHolders::ReadLine(std::string_view line, bool ipv6, const ZrInetAddr& address) {
    const int words = ipv6 ? 4 : 1;
    std::string_view slot = NextField(line), local = NextField(line), remote = NextField(line);
    uint32_t ours[4] = {}, theirs[4] = {}, port = 0, remotePort = 0, uid = 0;
    for (int skip = 0; skip < 4; ++skip) // state, queues, timer, retransmits
        (void)NextField(line);
    std::string_view owner = NextField(line);
    if (slot.size() < 2 || slot.back() != ':' || !Address(local, words, ours, port) ||
        !Address(remote, words, theirs, remotePort) || !Decimal(owner, uid))
        return Fail("a line of the socket table does not read as a socket");
    // A datagram for 0.0.0.0 is delivered to loopback.
    const uint32_t wanted = address.AsUint32() == 0 ? ZrInetAddr::AddressLoopback().SockAddr().sin_addr.s_addr
                                                    : address.SockAddr().sin_addr.s_addr;
    const uint32_t mapped = htonl(0xFFFF);
    bool receives = ipv6 ? ours[0] == 0 && ours[1] == 0 &&
                               ((ours[2] == 0 && ours[3] == 0) || (ours[2] == mapped && ours[3] == wanted))
                         : ours[0] == 0 || ours[0] == wanted;
    if (port == address.GetPort() && receives)
        m_owners.push_back(uid);
    return true;
}

bool ZrUdpPortHolders::ReadHeading(std::string_view line) {
    size_t first = line.find_first_not_of(' ');
    if (first == std::string_view::npos || line.substr(first, 3) != "sl ")
        return Fail("the socket table does not start with its heading");
    return true;
}

bool ZrUdpPortHolders::ReadTable(std::string_view table, bool ipv6, const ZrInetAddr& address) {
    // A table read whole ends with its last line's end; the first line names the columns.
    if (table.empty() || table.back() != '\n')
        return Fail("the socket table ends inside a line");
    size_t end = table.find('\n');
    if (!ReadHeading(table.substr(0, end)))
        return false;
    for (size_t at = end + 1; at < table.size(); at = end + 1) {
        end = table.find('\n', at);
        if (!ReadLine(table.substr(at, end - at), ipv6, address))
            return false;
    }
    return true;
}

bool ZrUdpPortHolders::ReadTableFile(const char* path, bool ipv6, const ZrInetAddr& address) {
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return (ipv6 && errno == ENOENT) || Fail("a UDP socket table cannot be opened");
    // Line by line through a buffer on the stack: the agent reads the tables before every call, and
    // a whole table of a busy host would leave its heap grown for nothing. The kernel walks its whole
    // socket hash table for each read that finds its page of lines used up, so the buffer takes a
    // page at a time: fewer reads, fewer walks.
    char buffer[4096];
    size_t held = 0;
    bool heading = true, ok = true;
    for (;;) {
        ssize_t n = ::read(fd, buffer + held, sizeof buffer - held);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n < 0 || heading || held != 0)
                ok = Fail(n < 0 ? "a UDP socket table cannot be read" : "the socket table is cut short");
            break;
        }
        held += static_cast<size_t>(n);
        std::string_view text(buffer, held);
        size_t at = 0;
        for (size_t end; ok && (end = text.find('\n', at)) != std::string_view::npos; at = end + 1) {
            ok = heading ? ReadHeading(text.substr(at, end - at))
                         : ReadLine(text.substr(at, end - at), ipv6, address);
            heading = false;
        }
        if (ok && at == 0 && held == sizeof buffer)
            ok = Fail("a line of the socket table is too long");
        if (!ok)
            break;
        std::memmove(buffer, buffer + at, held - at);
        held -= at;
    }
    ::close(fd);
    return ok;
}

bool ZrUdpPortHolders::Read(const ZrInetAddr& address) {
    m_owners.clear();
    return ReadTableFile("/proc/net/udp", false, address) && ReadTableFile("/proc/net/udp6", true, address);
}
