// platform::WaitSet: the process layer's wait set over the current dispatch::DispatcherBase. Timers
// are one-shot registrations that signal the timer; descriptor waits are recorded and registered
// while active. It does not own what is added; recorded descriptor waits are released when it goes.
#pragma once

#include "framework/platform/waitobject.h"

#include <cstdint>
#include <vector>

namespace platform {

class WaitSet : public common::WaitSet, public IFdWaitNotify {
public:
    WaitSet() = default;
    ~WaitSet() override;
    WaitSet(const WaitSet&) = delete;
    WaitSet& operator=(const WaitSet&) = delete;

    // One dispatch step of the current dispatcher, with the signalled flag cleared around it.
    void Wait() override;
    void Add(common::WaitObject& object) override;
    void Remove(common::WaitObject& object) override;
    void OnFdActive(FdWait* wait) override;
    void OnFdInactive(FdWait* wait) override;

    // Registrations of the current dispatch::DispatcherBase (0 when none is current).
    int32_t Count() const;

private:
    std::vector<FdWait*> m_fdWaits;
};

} // namespace platform
