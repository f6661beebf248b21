#include "framework/network/socketbase.h"

namespace network {

SocketBase::SocketBase(int32_t fd) {
    const KivStatus status = _KivPosixSocketInitWithFd(&m_socket, fd);
    if (status != KIV_OK)
        throw Exception(status);
}

SocketBase::~SocketBase() {
    (void)KivSocketTerminate(&m_socket); // a destructor has no one to report to
}

// Not called by the agent; completes the socket's options.
void SocketBase::SetBlocking(bool blocking) {
    const KivStatus status = KivSocketSetBlocking(&m_socket, blocking);
    if (status != KIV_OK)
        throw Exception(status);
}

// Not called by the agent; completes the socket's options (the agent binds no stream socket).
void SocketBase::SetReuseAddr(bool reuse) {
    const KivStatus status = KivSocketSetReuseAddr(&m_socket, reuse);
    if (status != KIV_OK)
        throw Exception(status);
}

} // namespace network
