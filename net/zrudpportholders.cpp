#include "net/zrudpportholders.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

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

ZrUdpPortHolders::~ZrUdpPortHolders() {
    if (m_socket >= 0)
        ::close(m_socket);
}

bool ZrUdpPortHolders::Fail(const char* why) {
    m_lastError = ZrUniString(why);
    return false;
}

bool ZrUdpPortHolders::ReadReply(const unsigned char* data, size_t size, uint32_t sequence,
                                 const ZrInetAddr& address, bool& done) {
    // A datagram for 0.0.0.0 is delivered to loopback.
    const uint32_t wanted = address.AsUint32() == 0 ? ZrInetAddr::AddressLoopback().SockAddr().sin_addr.s_addr
                                                    : address.SockAddr().sin_addr.s_addr;
    const uint32_t mapped = htonl(0xFFFF);
    done = false;
    while (size != 0) {
        // Copied out of the bytes: nothing says a message of a datagram is aligned for its header.
        nlmsghdr header;
        if (size < sizeof header)
            return Fail("a message of the socket dump is cut short");
        std::memcpy(&header, data, sizeof header);
        if (header.nlmsg_len < sizeof header || header.nlmsg_len > size)
            return Fail("a message of the socket dump is cut short");
        if (header.nlmsg_seq != sequence)
            return Fail("the socket dump answers another request");
        if (header.nlmsg_type == NLMSG_DONE) {
            // The dump's own error, if it ended on one, follows the header.
            int error = -1;
            if (header.nlmsg_len >= NLMSG_LENGTH(sizeof error))
                std::memcpy(&error, data + NLMSG_HDRLEN, sizeof error);
            if (error != 0 || NLMSG_ALIGN(header.nlmsg_len) < size)
                return Fail("the socket dump did not end cleanly");
            done = true;
            return true;
        }
        inet_diag_msg socket;
        if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0 ||
            header.nlmsg_len < NLMSG_LENGTH(sizeof socket))
            return Fail("the kernel refused the socket dump or answered it with something else");
        std::memcpy(&socket, data + NLMSG_HDRLEN, sizeof socket);
        const uint32_t* ours = socket.id.idiag_src;
        bool receives;
        if (socket.idiag_family == AF_INET)
            receives = ours[0] == 0 || ours[0] == wanted;
        else if (socket.idiag_family == AF_INET6)
            receives = ours[0] == 0 && ours[1] == 0 &&
                       ((ours[2] == 0 && ours[3] == 0) || (ours[2] == mapped && ours[3] == wanted));
        else
            return Fail("the socket dump holds a socket of another family");
        if (ntohs(socket.id.idiag_sport) == address.GetPort() && receives)
            m_owners.push_back(socket.idiag_uid);
        const size_t used = NLMSG_ALIGN(header.nlmsg_len);
        data += used < size ? used : size;
        size -= used < size ? used : size;
    }
    return true;
}

bool ZrUdpPortHolders::Dump(int family, const ZrInetAddr& address) {
    struct {
        nlmsghdr header;
        inet_diag_req_v2 request;
    } ask{};
    ask.header.nlmsg_len = sizeof ask;
    ask.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    ask.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    ask.header.nlmsg_seq = ++m_sequence;
    ask.request.sdiag_family = static_cast<uint8_t>(family);
    ask.request.sdiag_protocol = IPPROTO_UDP;
    ask.request.idiag_states = ~0u; // bound, connected, whatever the state
    // The kernel leaves out sockets on other ports; the reply is checked for the port all the same.
    ask.request.id.idiag_sport = htons(static_cast<uint16_t>(address.GetPort()));
    ask.request.id.idiag_cookie[0] = ask.request.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(m_socket, &ask, sizeof ask, 0, reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) !=
        static_cast<ssize_t>(sizeof ask))
        return Fail("the kernel cannot be asked for its UDP sockets");
    // On the stack: the agent asks before every call, and the heap would keep whatever it grew to.
    // The kernel fills a dump's datagrams up to the size of the reads it sees, so none outgrows this.
    alignas(nlmsghdr) unsigned char buffer[8192];
    for (bool done = false; !done;) {
        sockaddr_nl from{};
        iovec part{buffer, sizeof buffer};
        msghdr message{};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        ssize_t n = ::recvmsg(m_socket, &message, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0 || (message.msg_flags & MSG_TRUNC) != 0 || from.nl_pid != 0)
            return Fail("the kernel's list of UDP sockets cannot be read whole");
        if (!ReadReply(buffer, static_cast<size_t>(n), m_sequence, address, done))
            return false;
    }
    return true;
}

bool ZrUdpPortHolders::Read(const ZrInetAddr& address) {
    m_owners.clear();
    if (m_socket < 0)
        m_socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (m_socket < 0)
        return Fail("the kernel's socket diagnostics cannot be opened");
    if (Dump(AF_INET, address) && Dump(AF_INET6, address))
        return true;
    // Whatever is left of a dump would be read as the next one's reply.
    ::close(m_socket);
    m_socket = -1;
    return false;
}
