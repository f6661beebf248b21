// platform::Dispatcher: the object a program's own main loop drives, one bounded dispatch step at a
// time; a recorded termination signal ends the step and leaves its exit request for the loop to act
// on. platform::Process::Exit ends the process. Timer failures throw exception::RCException.
#pragma once

#include "framework/platform/time.h"
#include "framework/platform/waitset.h"

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

    // The process's exit request (platform::CurrentProcess), written by the signal handler; 0: none.
    void RequestExit(int32_t status);
    int32_t ExitRequest() const;
};

class Process {
public:
    [[noreturn]] static void Exit(int32_t status);
    // Sleeps whole seconds; a termination signal that is not being recorded ends the process in it.
    static void Sleep(unsigned int seconds);
};

} // namespace platform
