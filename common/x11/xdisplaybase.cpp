#include "common/x11/xdisplaybase.h"

#include "framework/kiv/kivassert.h"
#include "framework/network/socketbase.h"
#include "framework/network/socketstream.h"

#include <X11/Xlib.h>

#include <algorithm>
#include <cstdlib>
#include <sys/ioctl.h>

namespace common::x11 {

namespace {

const char kYieldLimitVariable[] = "COMMON_X11_EVENTS_YIELD_LIMIT";

} // namespace

XDisplayBase::XDisplayBase() = default;

XDisplayBase::~XDisplayBase() = default;

void XDisplayBase::AttachEventHandler(IEventHandler* handler) {
    m_handlers.push_back(handler);
}

void XDisplayBase::DetachEventHandler(IEventHandler* handler) {
    m_handlers.erase(std::remove(m_handlers.begin(), m_handlers.end(), handler), m_handlers.end());
}

network::SocketStream& XDisplayBase::Stream() {
    KIV_ASSERT(m_pStream, "common/x11/xdisplaybase");
    return *m_pStream;
}

int XDisplayBase::Descriptor() const {
    return m_pDisplay ? XConnectionNumber(m_pDisplay) : -1;
}

long XDisplayBase::ReadableBytes() const {
    int count = 0;
    if (!m_pDisplay || ioctl(XConnectionNumber(m_pDisplay), FIONREAD, &count) != 0)
        return -1;
    return count;
}

void XDisplayBase::Attach(_XDisplay* display) {
    m_pDisplay = display;
    if (const char* text = std::getenv(kYieldLimitVariable)) {
        // Deliberately unchecked: a negative value means no limit, 0 acts as 1 and text that is
        // not a number gives 0.
        const int32_t limit = static_cast<int32_t>(std::strtol(text, nullptr, 10));
        m_yieldLimit = static_cast<uint64_t>(static_cast<int64_t>(limit));
    }
    m_pSocket = std::make_unique<network::SocketBase>(XConnectionNumber(display));
    m_pStream = std::make_unique<network::SocketStream>(*m_pSocket);
}

void XDisplayBase::Detach() {
    m_pStream.reset();
    m_pSocket.reset();
    m_pDisplay = nullptr;
}

const char* XDisplayBase::DisplayName() const {
    return m_pDisplay ? DisplayString(m_pDisplay) : "";
}

void XDisplayBase::HandleEvents() {
    HandleEvents(QueuedAfterReading);
}

void XDisplayBase::HandleQueuedEvents() {
    HandleEvents(QueuedAlready);
}

void XDisplayBase::HandleEvents(int mode) {
    m_fastEvent.Unset();
    if (!m_pDisplay || XEventsQueued(m_pDisplay, mode) == 0)
        return;
    uint64_t count = 0;
    do {
        XEvent event;
        XNextEvent(m_pDisplay, &event);
        // By index: a handler may attach or detach handlers while it runs.
        for (size_t i = 0; i < m_handlers.size(); ++i) {
            if (!m_handlers[i]->OnEvent(event))
                break;
        }
        if (XEventsQueued(m_pDisplay, QueuedAlready) == 0)
            return;
        ++count;
    } while (count < m_yieldLimit);
    // Events are left over: the dispatcher comes back after its other ready registrations.
    m_fastEvent.Set();
}

} // namespace common::x11
