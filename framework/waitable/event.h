// Waitable events that own their runtime event: waitable::FastEvent (a flag, seen only when the wait
// set is polled) and waitable::SafeEvent (a self-pipe that wakes a blocked wait). SafeEvent's
// constructor and Set/Unset throw exception::RCException with the runtime status on failure.
#pragma once

#include "framework/kiv/kivwait.h"
#include "framework/waitable/iwaitable.h"

namespace waitable {

class FastEvent : public IWaitable {
public:
    // These fail only for an object of another kind, which a FastEvent's record never is.
    FastEvent() { (void)KivFastEventInit(&m_event); }
    FastEvent(const FastEvent&) = delete;
    FastEvent& operator=(const FastEvent&) = delete;

    void Set() { (void)KivEventSet(&m_event); }
    void Unset() { (void)KivEventUnset(&m_event); }
    bool IsSet() const { return KivFastEventIsSet(&m_event) != 0; }
    _KivPosixWait* GetWaitObject() override { return &m_event; }

private:
    KivFastEvent m_event;
};

// Not used by the agent; the event that wakes a blocked wait from outside, kept beside FastEvent.
class SafeEvent : public IWaitable {
public:
    SafeEvent();
    ~SafeEvent() override;
    SafeEvent(const SafeEvent&) = delete;
    SafeEvent& operator=(const SafeEvent&) = delete;

    void Set();
    void Unset();
    _KivPosixWait* GetWaitObject() override { return &m_event; }

private:
    KivSafeEvent m_event;
};

} // namespace waitable
