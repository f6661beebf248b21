#include "net/zrsocket.h"

#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

ZrUniString Text(const std::string& text) {
    return ZrUniString(text.c_str());
}

std::string Num(long long value) {
    return std::to_string(value);
}

// "," and the number. Built by appending: `"," + Num(v)` trips a false -Wrestrict in g++ 12 at -O3.
std::string Comma(long long value) {
    std::string text(",");
    text += Num(value);
    return text;
}

} // namespace

ZrSocket::~ZrSocket() {
    Close();
}

ZrSocket::ZrSocket(ZrSocket&& other) noexcept
    : m_fd(other.m_fd), m_errno(other.m_errno), m_lastError(other.m_lastError) {
    other.m_fd = -1;
}

ZrSocket& ZrSocket::operator=(ZrSocket&& other) noexcept {
    if (this != &other) {
        Close();
        m_fd = other.m_fd;
        m_errno = other.m_errno;
        m_lastError = other.m_lastError;
        other.m_fd = -1;
    }
    return *this;
}

void ZrSocket::Close() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

ZrUniString ZrSocket::Fd() const {
    return Text(Num(m_fd));
}

bool ZrSocket::Fail(const char* call, const ZrUniString& trace) {
    m_errno = errno;
    m_lastError = ZrUnixError(m_errno, ZrUniString(call), trace);
    return false;
}

bool ZrSocket::makesock(int domain, int type) {
    Close();
    m_fd = ::socket(domain, type, 0);
    if (m_fd < 0)
        return Fail("socket", Text(Num(domain) + Comma(type) + ",0"));
    return true;
}

bool ZrSocket::Bind(const ZrSocketAddress& address, connectionType type, bool reuseAddress,
                    unsigned int retries, bool verbose) {
    if (m_fd < 0 && !makesock(address.Domain(), type == stream ? SOCK_STREAM : SOCK_DGRAM))
        return false;
    if (reuseAddress) {
        int one = 1;
        if (::setsockopt(m_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0)
            return Fail("setsockopt", Fd() + Text(",SOL_SOCKET(" + Num(SOL_SOCKET) + "),SO_REUSEADDR(" +
                                                  Num(SO_REUSEADDR) + "),(char*)(int 1)," + Num(sizeof one)));
    }
    sockaddr_storage storage;
    socklen_t length = address.Fill(storage);
    bool first = true;
    bool waited = false;
    for (;;) {
        if (::bind(m_fd, reinterpret_cast<const sockaddr*>(&storage), length) == 0) {
            if (verbose && waited) {
                std::fputs("\n", stderr);
                std::fflush(stderr);
            }
            return true;
        }
        int error = errno;
        Fail("bind", Fd() + Text(",") + address.AsString() + Text(Comma(length)));
        if (first && error != EADDRINUSE)
            return false;
        if (verbose) {
            if (first)
                std::fprintf(stderr, "A socket is still in use, attempting %d retries...",
                             static_cast<int>(retries));
            else
                std::fputs(".", stderr);
            std::fflush(stderr);
        }
        first = false;
        if (retries == 0) {
            if (verbose) {
                std::fputs("\n", stderr);
                std::fflush(stderr);
            }
            return false;
        }
        --retries;
        waited = true;
        ::sleep(2);
    }
}

bool ZrSocket::Connect(const ZrSocketAddress& address) {
    if (m_fd < 0 && !makesock(address.Domain(), SOCK_STREAM))
        return false;
    sockaddr_storage storage;
    socklen_t length = address.Fill(storage);
    if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&storage), length) != 0)
        return Fail("connect", Fd() + Text(",") + address.AsString() + Text(Comma(length)));
    return true;
}

// Not called by the agent, whose one connection is a datagram socket's; this and the next four
// (connections, peer addresses) are kept.
bool ZrSocket::ConnectionComplete(ZrUniString& why) {
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(m_fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
        error = errno;
    if (error == 0)
        return true;
    errno = error;
    Fail("connect", Fd() + Text(",SOL_SOCKET(" + Num(SOL_SOCKET) + "),SO_ERROR(" + Num(SO_ERROR) + ")"));
    why = m_lastError.Reason();
    return false;
}

bool ZrSocket::Listen(unsigned int backlog) {
    if (::listen(m_fd, static_cast<int>(backlog)) != 0)
        return Fail("listen", Fd() + Text(Comma(backlog)));
    return true;
}

bool ZrSocket::AcceptFrom(int listener) {
    int fd = ::accept(listener, nullptr, nullptr);
    if (fd < 0)
        return Fail("accept", Text(Num(listener) + ",0,0"));
    Close();
    m_fd = fd;
    return true;
}

bool ZrSocket::RemoteAddress(ZrInetAddr& address) {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    if (::getpeername(m_fd, reinterpret_cast<sockaddr*>(&peer), &length) != 0)
        return Fail("getpeername", Fd() + Text(",0,struct sockaddr_in*,int*(" + Num(sizeof peer) + ")"));
    address = &peer;
    return true;
}

bool ZrSocket::LocalAddress(ZrInetAddr& address) {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (::getsockname(m_fd, reinterpret_cast<sockaddr*>(&local), &length) != 0)
        return Fail("getsockname", Fd() + Text(",0,struct sockaddr_in*,int*(" + Num(sizeof local) + ")"));
    address = &local;
    return true;
}

int ZrSocket::WriteMessage(const void* data, long length, long& written, const ZrInetAddr& to) {
    written = 0;
    ssize_t sent = ::sendto(m_fd, data, static_cast<size_t>(length), 0,
                            reinterpret_cast<const sockaddr*>(&to.SockAddr()), sizeof(sockaddr_in));
    if (sent < 0) {
        if (errno != EAGAIN)
            Fail("sendto",
                 Fd() + Text(Comma(length) + ",0,") + to.AsString(true) + Text(Comma(sizeof(sockaddr_in))));
        return messageFailed;
    }
    written = sent;
    if (sent == 0 && length > 0)
        return messageEndOfFile;
    return sent < length ? messagePartial : messageComplete;
}

int ZrSocket::ReadMessage(void* data, long capacity, long& got, ZrInetAddr& from) {
    got = 0;
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    ssize_t received = ::recvfrom(m_fd, data, static_cast<size_t>(capacity), 0,
                                  reinterpret_cast<sockaddr*>(&sender), &length);
    if (received < 0) {
        if (errno != EAGAIN)
            Fail("recvfrom",
                 Fd() + Text(Comma(capacity) + ",0,struct sockaddr_in*,int*(" + Num(sizeof sender) + ")"));
        return messageFailed;
    }
    got = received;
    from = &sender;
    return received == 0 ? messageEndOfFile : messageComplete;
}

bool ZrSocket::PeekSender(ZrInetAddr& from) {
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    unsigned char first;
    if (::recvfrom(m_fd, &first, sizeof first, MSG_PEEK | MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&sender),
                   &length) < 0) {
        if (errno != EAGAIN)
            Fail("recvfrom", Fd() + Text(",1,MSG_PEEK|MSG_DONTWAIT,struct sockaddr_in*,int*(" +
                                         Num(sizeof sender) + ")"));
        return false;
    }
    from = &sender;
    return true;
}

bool ZrSocket::ClearPendingError() {
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(m_fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
        return Fail("getsockopt",
                    Fd() + Text(",SOL_SOCKET(" + Num(SOL_SOCKET) + "),SO_ERROR(" + Num(SO_ERROR) +
                                "),(char*)(int*),int*(" + Num(sizeof error) + ")"));
    return true;
}

bool ZrSocket::SetIntOption(int level, const char* levelName, int option, const char* optionName, int value,
                            const char* valuePrefix, const char* valueSuffix) {
    if (::setsockopt(m_fd, level, option, &value, sizeof value) != 0)
        return Fail("setsockopt", Fd() + Text(std::string(",") + levelName + "(" + Num(level) + ")," +
                                              optionName + "(" + Num(option) + ")," + valuePrefix +
                                              Num(value) + valueSuffix + Num(sizeof value)));
    return true;
}

unsigned int ZrSocket::GetIntOption(int option, const char* optionName) {
    int value = 0;
    socklen_t length = sizeof value;
    if (::getsockopt(m_fd, SOL_SOCKET, option, &value, &length) != 0) {
        Fail("getsockopt", Fd() + Text(",SOL_SOCKET(" + Num(SOL_SOCKET) + ")," + optionName + "(" +
                                       Num(option) + "),(char*)(int*),int*(" + Num(sizeof value) + ")"));
        return 0;
    }
    return static_cast<unsigned int>(value);
}

unsigned int ZrSocket::GetReceiveBufferSize() {
    return GetIntOption(SO_RCVBUF, "SO_RCVBUF");
}

unsigned int ZrSocket::GetTransmitBufferSize() {
    return GetIntOption(SO_SNDBUF, "SO_SNDBUF");
}

bool ZrSocket::SetReceiveBufferSize(unsigned int bytes) {
    return SetIntOption(SOL_SOCKET, "SOL_SOCKET", SO_RCVBUF, "SO_RCVBUF", static_cast<int>(bytes),
                        "(char*)(int ", "),");
}

bool ZrSocket::SetTransmitBufferSize(unsigned int bytes) {
    return SetIntOption(SOL_SOCKET, "SOL_SOCKET", SO_SNDBUF, "SO_SNDBUF", static_cast<int>(bytes),
                        "(char*)(int ", "),");
}

// Not called by the agent; this and the options below complete the socket; the agent sets none of them.
bool ZrSocket::SetDelay(bool noDelay) {
    return SetIntOption(IPPROTO_TCP, "IPPROTO_TCP", TCP_NODELAY, "TCP_NODELAY", noDelay ? 1 : 0,
                        "(char*)(int ", "),");
}

bool ZrSocket::SetKeepAlive(bool on) {
    return SetIntOption(SOL_SOCKET, "SOL_SOCKET", SO_KEEPALIVE, "SO_KEEPALIVE", on ? 1 : 0, "(char*)(int (",
                        ")),");
}

bool ZrSocket::SetOOBInLine(bool on) {
    return SetIntOption(SOL_SOCKET, "SOL_SOCKET", SO_OOBINLINE, "SO_OOBINLINE", on ? 1 : 0, "(char*)(int (",
                        ")),");
}

bool ZrSocket::SetBroadcast(bool on) {
    return SetIntOption(SOL_SOCKET, "SOL_SOCKET", SO_BROADCAST, "SO_BROADCAST", on ? 1 : 0, "(char*)(int (",
                        ")),");
}

bool ZrSocket::SetLinger(bool on, int seconds) {
    linger value{};
    value.l_onoff = on ? 1 : 0;
    value.l_linger = seconds;
    if (::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &value, sizeof value) != 0)
        return Fail("setsockopt",
                    Fd() + Text(",SOL_SOCKET(" + Num(SOL_SOCKET) + "),SO_LINGER(" + Num(SO_LINGER) +
                                "),(char*)(struct linger {" + Num(value.l_onoff) + Comma(seconds) + "})," +
                                Num(sizeof value)));
    return true;
}

bool ZrSocket::SetTypeOfService(serviceType type) {
    if (!std::getenv("WEX_SET_IP_TOS"))
        return true;
    int value;
    switch (type) {
    case minimumCost:
        value = 0x02;
        break;
    case lowDelay:
        value = IPTOS_LOWDELAY;
        break;
    case reliability:
        value = IPTOS_RELIABILITY;
        break;
    case throughput:
        value = IPTOS_THROUGHPUT;
        break;
    default:
        return true;
    }
    return SetIntOption(IPPROTO_IP, "IPPROTO_IP", IP_TOS, "IP_TOS", value, "(char*)(int ", "),");
}
