#include "common/x11/dmpx11client.h"

#include "common/x11/xkpdev.h"

#include <X11/Xlib.h>

namespace wex::common::dmp::x11 {

using ::common::x11::XKPDevEvent;

bool Client::InitExtension() {
    if (!m_display.GetDisplay())
        return false;
    // Events of the extension are only converted once its per-display record exists, so make it
    // now rather than with the first request; making it asks the server for the extension.
    m_eventCode = XXKPDevRegisterDisplay(m_display.GetDisplay());
    return m_eventCode != 0;
}

void Client::SendKPDMPData(const buffer::Buffer& data) {
    if (!m_eventCode)
        return;
    XXKPDevPutConfirm(m_display.GetDisplay(), data.Data(), static_cast<unsigned int>(data.Length()));
}

bool Client::GetRequest(unsigned short requestId, unsigned char** data, unsigned int* length) {
    return XXKPDevGetRequest(m_display.GetDisplay(), data, length, requestId) != 0;
}

bool Client::OnEvent(_XEvent& event) {
    if (!m_eventCode || event.type != m_eventCode)
        return true;
    auto& ev = reinterpret_cast<XKPDevEvent&>(event);
    if (ev.kind == ::common::x11::kXKPDevPending) {
        unsigned char* data = nullptr;
        unsigned int length = 0;
        if (GetRequest(static_cast<unsigned short>(ev.requestId), &data, &length) && data) {
            // Freed even when a handler throws on a malformed message, and wiped first: an add-device
            // request carries the drive's credentials.
            struct Release {
                _XDisplay* display;
                unsigned char* p;
                unsigned int length;
                ~Release() { XXKPDevFreeRequest(display, p, length); }
            } release{m_display.GetDisplay(), data, length};
            buffer::Buffer message(data, length);
            OnKPDMPData(message);
        }
    } else if (ev.kind == ::common::x11::kXKPDevInline) {
        // The init message is two bytes whatever the event says.
        const uint64_t length = m_initialised ? static_cast<uint64_t>(ev.inlineLength) : 2;
        // The event holds 24 bytes; a longer claim cannot be honoured.
        buffer::Buffer message(ev.data, length <= sizeof(ev.data) ? length : sizeof(ev.data));
        OnKPDMPData(message);
    }
    return true;
}

} // namespace wex::common::dmp::x11
