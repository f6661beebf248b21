// common::x11::XDisplayBase: one X display connection as seen by the event loop: the handlers every
// event is offered to, the per-turn yield limit, the fast event that resumes a cut-short turn, and the
// socket stream whose waitable the dispatcher watches. Owns the stream, borrows the handlers. Asking
// for an absent stream aborts ("m_pStream"); the socket wrappers throw network::Exception.
#pragma once

#include "framework/waitable/event.h"

#include <cstdint>
#include <memory>
#include <vector>

struct _XDisplay;
union _XEvent;

namespace network {
class SocketBase;
class SocketStream;
} // namespace network

namespace common::x11 {

class XDisplayBase {
public:
    class IEventHandler {
    public:
        virtual ~IEventHandler() = default;
        // True passes the event on to the next handler, false ends its offer.
        virtual bool OnEvent(_XEvent& event) = 0;
    };

    static constexpr uint64_t kDefaultYieldLimit = 32;

    XDisplayBase();
    virtual ~XDisplayBase();
    XDisplayBase(const XDisplayBase&) = delete;
    XDisplayBase& operator=(const XDisplayBase&) = delete;

    // The Xlib handle, null while closed.
    _XDisplay* GetDisplay() const { return m_pDisplay; }
    bool IsOpen() const { return m_pDisplay != nullptr; }

    void AttachEventHandler(IEventHandler* handler);
    void DetachEventHandler(IEventHandler* handler);

    // One turn: handles queued events up to the yield limit and sets the fast event when the
    // limit cut the turn short. HandleEvents first reads what the connection holds; HandleQueuedEvents
    // takes only what Xlib has queued already, so that it never meets the end of the connection.
    void HandleEvents();
    void HandleQueuedEvents();

    waitable::FastEvent& FastEvent() { return m_fastEvent; }

    bool HasStream() const { return m_pStream != nullptr; }
    network::SocketStream& Stream();
    // The connection descriptor, -1 while closed.
    int Descriptor() const;
    // Bytes waiting on the connection (FIONREAD), -1 when the query fails.
    long ReadableBytes() const;
    // The name the connection was opened with, as Xlib keeps it; "" while closed.
    const char* DisplayName() const;

protected:
    // Takes over an opened connection: reads the yield limit from the environment and wraps the
    // descriptor in a socket stream.
    void Attach(_XDisplay* display);
    // Forgets the connection (the caller closes it) and releases the socket stream.
    void Detach();

private:
    void HandleEvents(int mode);

    _XDisplay* m_pDisplay = nullptr;
    std::vector<IEventHandler*> m_handlers;
    uint64_t m_yieldLimit = kDefaultYieldLimit;
    waitable::FastEvent m_fastEvent;
    std::unique_ptr<network::SocketBase> m_pSocket;
    std::unique_ptr<network::SocketStream> m_pStream;
};

} // namespace common::x11
