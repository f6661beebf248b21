#include "dmp/dmpdisplay.h"

DMPDisplay::DMPDisplay(const char* name, IDMPDisplayNotify* notify)
    : m_name(name ? name : ""), m_pNotify(notify) {}

DMPDisplay::~DMPDisplay() = default;

void DMPDisplay::OnReadable() {
    if (ReadableBytes() <= 0) {
        if (m_pNotify)
            m_pNotify->OnDMPDisplayReadError(this);
        return;
    }
    HandleEvents();
}
