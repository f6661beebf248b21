#include "framework/platform/dispatcher.h"

#include "framework/platform/currentprocess.h"
#include "framework/platform/timer.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <optional>

namespace platform {

namespace {
// Read by the signal handlers, hence atomic.
std::atomic<Dispatcher*> g_lastDispatcher{nullptr};
} // namespace

Dispatcher::Dispatcher() {
    CurrentProcess::Instance();
    // From now on a signal is kept as this dispatcher's exit request, also when it comes before the
    // first step (during start-up, or while the first drives are handled before the loop waits).
    g_lastDispatcher.store(this);
}

Dispatcher::~Dispatcher() {
    Dispatcher* self = this;
    g_lastDispatcher.compare_exchange_strong(self, nullptr);
}

Dispatcher* Dispatcher::Get() {
    return g_lastDispatcher.load();
}

int32_t Dispatcher::Dispatch(const common::Duration* timeout) {
    std::optional<Timer> timer;
    if (timeout) {
        timer.emplace();
        timer->Set(Time::Now() + *timeout);
        Add(*timer);
    }
    g_lastDispatcher.store(this);
    // A signal handled outside the wait (in a control call's wait for its reply, say) ends the process
    // here rather than after the next event, which may never come.
    if (m_exitRequest != 0)
        Process::Exit(m_exitRequest);
    Wait();
    if (m_exitRequest != 0)
        Process::Exit(m_exitRequest);
    if (timer) {
        Remove(*timer);
        if (timer->IsSignalled())
            return -1;
    }
    return Count();
}

void Process::Exit(int32_t status) {
    std::exit(status);
}

void Process::Sleep(unsigned int seconds) {
    ::sleep(seconds);
}

} // namespace platform
