#include "framework/platform/timer.h"

#include "framework/exception/exception.h"

namespace platform {

namespace {
void Check(KivStatus status) {
    if (status != KIV_OK)
        throw exception::RCException(status);
}
} // namespace

Timer::Timer() {
    Check(KivTimerInit(&m_timer));
}

Timer::~Timer() {
    (void)KivTimerTerminate(&m_timer); // a timer holds nothing to release
}

void Timer::Set(const common::Time& at) {
    const int64_t nanoseconds = at.Seconds() * 1000000000 + at.Microseconds() * 1000;
    Check(KivTimerSetExpiry(&m_timer, nanoseconds < 0 ? 0 : static_cast<uint64_t>(nanoseconds)));
}

// Not called by the agent; completes the timer's accessors (set, clear, expiry).
common::Time Timer::Expiry() const {
    const uint64_t expiry = KivTimerGetExpiry(&m_timer);
    return common::Time(static_cast<int64_t>(expiry / 1000000000u),
                        static_cast<int64_t>(expiry % 1000000000u) / 1000);
}

} // namespace platform
