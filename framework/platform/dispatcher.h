// platform::Dispatcher: the object a program's own main loop drives, one bounded dispatch step at a
// time, and where a signal records its exit request. platform::Process::Exit ends the process.
// Timer failures throw exception::RCException; an exit request ends the process after the step.
#pragma once

#include "framework/platform/time.h"
#include "framework/platform/waitset.h"

#include <csignal>
#include <cstdint>

namespace platform {

class Dispatcher : public WaitSet {
public:
    // Installs the process's signal handlers on first use (platform::CurrentProcess).
    Dispatcher();
    ~Dispatcher() override;

    // One dispatch step, bounded by `timeout` when given. Returns the number of registrations the
    // current dispatch::DispatcherBase still holds, or -1 when the timeout expired.
    int32_t Dispatch(const common::Duration* timeout = nullptr);

    // The dispatcher that last ran Dispatch, or null.
    static Dispatcher* Get();

    // Written from signal handlers; 0 means none.
    void RequestExit(int32_t status) { m_exitRequest = status; }
    int32_t ExitRequest() const { return m_exitRequest; }

private:
    volatile std::sig_atomic_t m_exitRequest = 0;
};

class Process {
public:
    [[noreturn]] static void Exit(int32_t status);
    // Sleeps whole seconds; a caught signal may end the sleep early.
    static void Sleep(unsigned int seconds);
};

} // namespace platform
