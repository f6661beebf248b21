// Streams over a network::SocketBase they do not own: one runtime read or write per call, and the
// socket's read or write wait object as waitable. Throws stream::WouldBlockException,
// stream::EOSException (peer closed) or network::Exception (any other runtime failure).
#pragma once

#include "framework/network/socketbase.h"
#include "framework/stream/iostream.h"

namespace network {

// A waitable over a wait object that somebody else owns.
class WaitObjectRef : public waitable::IWaitable {
public:
    explicit WaitObjectRef(_KivPosixWait& wait) : m_pWait(&wait) {}
    _KivPosixWait* GetWaitObject() override { return m_pWait; }

private:
    _KivPosixWait* m_pWait;
};

class SocketInputStream : public stream::IWaitableInputStream {
public:
    explicit SocketInputStream(SocketBase& socket)
        : m_socket(socket), m_waitable(socket.Internal().readWait) {}
    uint64_t Read(buffer::VarBuffer& buffer) override;
    waitable::IWaitable& Waitable() override { return m_waitable; }

private:
    SocketBase& m_socket;
    WaitObjectRef m_waitable;
};

class SocketOutputStream : public stream::IWaitableOutputStream {
public:
    explicit SocketOutputStream(SocketBase& socket)
        : m_socket(socket), m_waitable(socket.Internal().writeWait) {}
    uint64_t Write(const buffer::Buffer& buffer) override;
    waitable::IWaitable& Waitable() override { return m_waitable; }

private:
    SocketBase& m_socket;
    WaitObjectRef m_waitable;
};

namespace detail {
struct SocketStreamHolder {
    explicit SocketStreamHolder(SocketBase& socket) : m_input(socket), m_output(socket) {}
    SocketInputStream m_input;
    SocketOutputStream m_output;
};
} // namespace detail

class SocketStream : private detail::SocketStreamHolder, public stream::WaitableIOStream {
public:
    explicit SocketStream(SocketBase& socket)
        : SocketStreamHolder(socket), WaitableIOStream(m_input, m_output) {}
};

} // namespace network
