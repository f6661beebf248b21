// platform::Socket: a readable-descriptor wait over a socket it does not own, which calls its
// IInputStreamNotify target's OnReadable while one is set (added to a platform::WaitSet, it is
// registered with the dispatcher exactly then). Reading throws what network::SocketInputStream throws.
#pragma once

#include "framework/network/socketbase.h"
#include "framework/network/socketstream.h"
#include "framework/platform/waitobject.h"
#include "framework/stream/istream.h"

namespace platform {

class IInputStreamNotify {
public:
    virtual ~IInputStreamNotify() = default;
    // The stream has data (or its peer has gone); called on the dispatcher thread.
    virtual void OnReadable(stream::IInputStream& stream) = 0;
};

class Socket : public FdWait, public stream::IInputStream {
public:
    // Throws network::Exception when the descriptor is not a socket.
    explicit Socket(int32_t fd);
    ~Socket() override;

    // A target makes the socket active; null makes it inactive.
    void SetNotify(IInputStreamNotify* notify);
    IInputStreamNotify* Notify() const { return m_pNotify; }

    uint64_t Read(buffer::VarBuffer& buffer) override { return m_input.Read(buffer); }
    void OnReady() override;

private:
    network::SocketBase m_socket;
    network::SocketInputStream m_input;
    IInputStreamNotify* m_pNotify = nullptr;
};

} // namespace platform
