// wex::common::dmp::x11::Client: carries DMP messages over the XKPDEV extension of one display. As
// an event handler of that display it turns extension events into whole messages (inline, or
// fetched from the server by id) and sends each outgoing message as one put request. Borrows the
// display, which must outlive it; failed fetches deliver nothing.
#pragma once

#include "common/x11/dmpclient.h"
#include "common/x11/xdisplaybase.h"

namespace wex::common::dmp::x11 {

class Client : public dmp::Client, public ::common::x11::XDisplayBase::IEventHandler {
public:
    explicit Client(::common::x11::XDisplayBase& display) : m_display(display) {}

    // Asks the server for the extension and keeps its first event code; false when it is absent or
    // the display is not open.
    bool InitExtension();
    void AttachEventHandler(IEventHandler* handler) { m_display.AttachEventHandler(handler); }
    void DetachEventHandler(IEventHandler* handler) { m_display.DetachEventHandler(handler); }

    // Does nothing until the extension is known.
    void SendKPDMPData(const buffer::Buffer& data) override;
    // Handles events of the extension's first event code; always passes the event on.
    bool OnEvent(_XEvent& event) override;

    int EventCode() const { return m_eventCode; }
    ::common::x11::XDisplayBase& Display() { return m_display; }

protected:
    // The one call the event path makes to the server: fetches the message kept under the id as a
    // block the caller releases with XXKPDevFreeRequest (none when the server held nothing). False when the
    // fetch failed. Virtual so that the event path can be driven without a server.
    virtual bool GetRequest(unsigned short requestId, unsigned char** data, unsigned int* length);

    ::common::x11::XDisplayBase& m_display;
    // The extension's first event code, 0 until InitExtension found it.
    int m_eventCode = 0;
};

} // namespace wex::common::dmp::x11
