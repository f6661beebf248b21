#include "framework/platform/dispatcher.h"

#include "framework/platform/currentprocess.h"
#include "framework/platform/timer.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <optional>

namespace platform {

namespace {
std::atomic<Dispatcher*> g_lastDispatcher{nullptr};
} // namespace

Dispatcher::Dispatcher() {
    CurrentProcess::Instance();
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
    // A recorded signal ends the wait; what it asks for is the caller's to act on (ExitRequest).
    Wait();
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

int32_t Dispatcher::ExitRequest() const {
    return CurrentProcess::ExitRequest();
}

void Dispatcher::RequestExit(int32_t status) {
    CurrentProcess::RequestExit(status);
}

} // namespace platform
