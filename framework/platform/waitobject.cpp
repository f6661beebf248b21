#include "framework/platform/waitobject.h"

namespace platform {

FdWait::FdWait(int32_t fd, uint32_t kind) {
    (void)KivPosixFdWaitInit(&m_wait, kind, fd); // fails only for a kind that is not a descriptor's
}

FdWait::~FdWait() {
    if (m_pSet)
        m_pSet->Remove(*this);
}

void FdWait::SetActive(bool active) {
    if (active == m_active)
        return;
    m_active = active;
    if (!m_pNotify)
        return;
    if (active)
        m_pNotify->OnFdActive(this);
    else
        m_pNotify->OnFdInactive(this);
}

void FdWait::Attach(common::WaitSet* set, IFdWaitNotify* notify) {
    m_pSet = set;
    m_pNotify = notify;
}

void FdWait::Detach() {
    m_pSet = nullptr;
    m_pNotify = nullptr;
}

} // namespace platform
