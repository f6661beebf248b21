#include "framework/platform/waitset.h"

#include "framework/dispatch/dispatch.h"
#include "framework/kiv/kivassert.h"
#include "framework/platform/timer.h"

#include <algorithm>

namespace platform {

WaitSet::~WaitSet() {
    while (!m_fdWaits.empty())
        Remove(*m_fdWaits.back());
}

void WaitSet::Wait() {
    Reset();
    dispatch::DispatcherBase* dispatcher = dispatch::DispatcherBase::Get();
    if (!dispatcher)
        KivAssertFailed("Dispatcher::Get()", "framework/platform/waitset");
    dispatcher->DispatchOnce();
    Signalled();
}

void WaitSet::Add(common::WaitObject& object) {
    if (auto* timer = dynamic_cast<Timer*>(&object)) {
        dispatch::Dispatch(*timer, [timer] { timer->Signalled(); }, 1);
        return;
    }
    if (auto* wait = dynamic_cast<FdWait*>(&object)) {
        if (std::find(m_fdWaits.begin(), m_fdWaits.end(), wait) != m_fdWaits.end())
            return;
        m_fdWaits.push_back(wait);
        wait->Attach(this, this);
        if (wait->IsActive())
            OnFdActive(wait);
    }
}

void WaitSet::Remove(common::WaitObject& object) {
    if (auto* timer = dynamic_cast<Timer*>(&object)) {
        // A timer that fired has already gone with its one-shot registration.
        if (dispatch::DispatcherBase* dispatcher = dispatch::DispatcherBase::Get())
            dispatcher->RemoveWaitable(*timer);
        return;
    }
    if (auto* wait = dynamic_cast<FdWait*>(&object)) {
        auto it = std::find(m_fdWaits.begin(), m_fdWaits.end(), wait);
        if (it == m_fdWaits.end())
            return;
        if (wait->IsActive())
            OnFdInactive(wait);
        wait->Detach();
        m_fdWaits.erase(it);
    }
}

void WaitSet::OnFdActive(FdWait* wait) {
    dispatch::Dispatch(*wait, [wait] { wait->OnReady(); }, 0);
}

void WaitSet::OnFdInactive(FdWait* wait) {
    // Without a current dispatcher there is no registration left to take back.
    if (dispatch::DispatcherBase* dispatcher = dispatch::DispatcherBase::Get())
        dispatcher->RemoveWaitable(*wait);
}

int32_t WaitSet::Count() const {
    dispatch::DispatcherBase* dispatcher = dispatch::DispatcherBase::Get();
    return dispatcher ? static_cast<int32_t>(dispatcher->Count()) : 0;
}

} // namespace platform
