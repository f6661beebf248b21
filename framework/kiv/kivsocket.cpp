#include "framework/kiv/kivsocket.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

KivStatus Fail(_KivSocketInternal* socket) {
    socket->error = errno;
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        return KIV_SOCKET_WOULD_BLOCK;
    if (errno == EPIPE || errno == ECONNRESET)
        return KIV_SOCKET_CLOSED;
    return KIV_FAILED;
}

} // namespace

KivStatus _KivPosixSocketInitWithFd(_KivSocketInternal* socket, int32_t fd) {
    *socket = _KivSocketInternal{};
    int type = 0;
    int protocol = 0;
    socklen_t size = sizeof type;
    if (fd < 0 || getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) != 0) {
        socket->error = fd < 0 ? EBADF : errno;
        return KIV_FAILED;
    }
    size = sizeof protocol;
    if (getsockopt(fd, SOL_SOCKET, SO_PROTOCOL, &protocol, &size) != 0)
        protocol = 0;
    socket->fd = fd;
    socket->type = type;
    socket->protocol = protocol;
    // The three descriptor kinds are the ones these accept.
    (void)KivPosixFdWaitInit(&socket->readWait, KIV_WAIT_FD_READ, fd);
    (void)KivPosixFdWaitInit(&socket->writeWait, KIV_WAIT_FD_WRITE, fd);
    (void)KivPosixFdWaitInit(&socket->exceptWait, KIV_WAIT_FD_EXCEPT, fd);
    return KIV_OK;
}

KivStatus KivSocketTerminate(_KivSocketInternal* socket) {
    // The descriptor belongs to whoever made it; only the record is reset.
    socket->fd = -1;
    return KIV_OK;
}

KivStatus KivSocketRead(_KivSocketInternal* socket, void* data, uint64_t length, uint64_t* count) {
    *count = 0;
    const ssize_t got = recv(socket->fd, data, length, 0);
    if (got < 0)
        return Fail(socket);
    *count = static_cast<uint64_t>(got);
    return KIV_OK;
}

KivStatus KivSocketWrite(_KivSocketInternal* socket, const void* data, uint64_t length, uint64_t* count) {
    *count = 0;
    const ssize_t sent = send(socket->fd, data, length, MSG_NOSIGNAL);
    if (sent < 0)
        return Fail(socket);
    *count = static_cast<uint64_t>(sent);
    return KIV_OK;
}

// Not called by the agent; the runtime half of network::SocketBase::SetBlocking.
KivStatus KivSocketSetBlocking(_KivSocketInternal* socket, KivBool blocking) {
    const int flags = fcntl(socket->fd, F_GETFL);
    if (flags == -1)
        return Fail(socket);
    const int wanted = blocking ? (flags & ~O_NONBLOCK) : (flags | O_NONBLOCK);
    if (wanted != flags && fcntl(socket->fd, F_SETFL, wanted) == -1)
        return Fail(socket);
    return KIV_OK;
}

// Not called by the agent; the runtime half of network::SocketBase::SetReuseAddr.
KivStatus KivSocketSetReuseAddr(_KivSocketInternal* socket, KivBool reuse) {
    const int value = reuse ? 1 : 0;
    if (setsockopt(socket->fd, SOL_SOCKET, SO_REUSEADDR, &value, sizeof value) != 0)
        return Fail(socket);
    return KIV_OK;
}
