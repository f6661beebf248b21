// network::SocketBase wraps one runtime socket made over an existing descriptor, which stays owned by
// whoever opened it. Failures of the runtime throw network::Exception carrying its status.
#pragma once

#include "framework/exception/exception.h"
#include "framework/kiv/kivsocket.h"

#include <cstdint>

namespace network {

class Exception : public exception::RCException {
public:
    explicit Exception(int32_t status) : RCException(status) {}
    const char* what() const noexcept override { return "network::Exception"; }
};

class SocketBase {
public:
    // Throws network::Exception when the descriptor is not a socket.
    explicit SocketBase(int32_t fd);
    ~SocketBase();
    SocketBase(const SocketBase&) = delete;
    SocketBase& operator=(const SocketBase&) = delete;

    int32_t GetProtocol() const { return m_socket.protocol; }
    int32_t GetType() const { return m_socket.type; }
    // The errno of the last failed runtime call, 0 when none failed.
    int32_t GetError() const { return m_socket.error; }
    int32_t Descriptor() const { return m_socket.fd; }
    void SetBlocking(bool blocking);
    void SetReuseAddr(bool reuse);

    _KivSocketInternal& Internal() { return m_socket; }

private:
    _KivSocketInternal m_socket;
};

} // namespace network
