#include "net/zrudpportholders.h"

#include <fcntl.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

// The whole of a file that reports no size (a /proc table); false on any failure, with errno.
bool ReadAll(const char* path, std::string& out) {
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char chunk[8192];
    ssize_t n;
    while ((n = ::read(fd, chunk, sizeof chunk)) != 0) {
        if (n > 0)
            out.append(chunk, static_cast<size_t>(n));
        else if (errno != EINTR)
            break;
    }
    int error = errno;
    ::close(fd);
    errno = error;
    return n == 0;
}

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
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return true;
    bool local = false;
    for (ifaddrs* i = list; i && !local; i = i->ifa_next)
        local = i->ifa_addr && i->ifa_addr->sa_family == AF_INET &&
                reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr ==
                    address.SockAddr().sin_addr.s_addr;
    ::freeifaddrs(list);
    return local;
}

bool ZrUdpPortHolders::Fail(const char* why) {
    m_lastError = ZrUniString(why);
    return false;
}

bool ZrUdpPortHolders::ReadTable(std::string_view table, bool ipv6, const ZrInetAddr& address) {
    const int words = ipv6 ? 4 : 1;
    // A datagram for 0.0.0.0 is delivered to loopback.
    const uint32_t wanted = address.AsUint32() == 0 ? ZrInetAddr::AddressLoopback().SockAddr().sin_addr.s_addr
                                                    : address.SockAddr().sin_addr.s_addr;
    const uint32_t mapped = htonl(0xFFFF);
    // A table read whole ends with its last line's end; the first line names the columns.
    size_t end = table.find('\n');
    std::string_view heading = table.substr(0, end);
    size_t first = heading.find_first_not_of(' ');
    if (table.empty() || table.back() != '\n' || first == std::string_view::npos ||
        heading.substr(first, 3) != "sl ")
        return Fail("the socket table does not start with its heading");
    for (size_t at = end + 1; at < table.size(); at = end + 1) {
        end = table.find('\n', at);
        std::string_view line = table.substr(at, end - at);
        std::string_view slot = NextField(line), local = NextField(line), remote = NextField(line);
        uint32_t ours[4] = {}, theirs[4] = {}, port = 0, remotePort = 0, uid = 0;
        for (int skip = 0; skip < 4; ++skip) // state, queues, timer, retransmits
            (void)NextField(line);
        std::string_view owner = NextField(line);
        if (slot.size() < 2 || slot.back() != ':' || !Address(local, words, ours, port) ||
            !Address(remote, words, theirs, remotePort) || !Decimal(owner, uid))
            return Fail("a line of the socket table does not read as a socket");
        if (port != address.GetPort())
            continue;
        bool receives = ipv6
                            ? ours[0] == 0 && ours[1] == 0 &&
                                  ((ours[2] == 0 && ours[3] == 0) || (ours[2] == mapped && ours[3] == wanted))
                            : ours[0] == 0 || ours[0] == wanted;
        if (receives)
            m_owners.push_back(uid);
    }
    return true;
}

bool ZrUdpPortHolders::Read(const ZrInetAddr& address) {
    m_owners.clear();
    std::string table;
    if (!ReadAll("/proc/net/udp", table))
        return Fail("the UDP socket table cannot be read");
    if (!ReadTable(table, false, address))
        return false;
    table.clear();
    if (!ReadAll("/proc/net/udp6", table))
        return errno == ENOENT || Fail("the UDP6 socket table cannot be read");
    return ReadTable(table, true, address);
}
