// platform::Timer: a wait object around a runtime timer; added to a platform::WaitSet it fires once,
// at its expiry, by becoming signalled. A failing runtime call throws exception::RCException.
#pragma once

#include "framework/kiv/kivwait.h"
#include "framework/platform/time.h"
#include "framework/platform/waitobject.h"
#include "framework/waitable/iwaitable.h"

namespace platform {

class Timer : public common::WaitObject, public waitable::IWaitable {
public:
    Timer();
    ~Timer() override;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    // Expiry in nanoseconds: seconds * 1,000,000,000 + microseconds * 1,000.
    void Set(const common::Time& at);
    common::Time Expiry() const;
    _KivPosixWait* GetWaitObject() override { return &m_timer; }

private:
    KivTimer m_timer;
};

} // namespace platform
