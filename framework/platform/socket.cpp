#include "framework/platform/socket.h"

namespace platform {

Socket::Socket(int32_t fd) : FdWait(fd), m_socket(fd), m_input(m_socket) {}

Socket::~Socket() {
    // Withdraw while this object is still whole: the base destructor would be too late for OnReady.
    SetNotify(nullptr);
}

void Socket::SetNotify(IInputStreamNotify* notify) {
    m_pNotify = notify;
    SetActive(notify != nullptr);
}

void Socket::OnReady() {
    Signalled();
    if (m_pNotify)
        m_pNotify->OnReadable(*this);
}

} // namespace platform
