// platform::CurrentProcess: while it exists, SIGHUP, SIGINT and SIGTERM are taken by one handler and
// SIGPIPE is ignored; its destructor puts the previous actions back. One per process (Instance());
// installing fails silently per signal. A termination signal either ends the process at once with
// 128 + its number, or, while the process records them (RecordSignals), is kept blocked everywhere
// but in the dispatcher's wait and stored there as the exit request.
#pragma once

#include <csignal>
#include <cstdint>

namespace platform {

// The exit status a caught termination signal requests: 128 + its number, as shells report it.
inline constexpr int kExitSignalBase = 128;

class CurrentProcess {
public:
    CurrentProcess();
    ~CurrentProcess();
    CurrentProcess(const CurrentProcess&) = delete;
    CurrentProcess& operator=(const CurrentProcess&) = delete;

    // The process-wide object, made on first use and destroyed at exit.
    static CurrentProcess& Instance();

    // Marks the process as one that may not be dumped: no core file is written and no process of the
    // same user may trace it or read its memory. Fails silently (nothing then changes).
    static void ForbidDumps();

    void InstallSignalHandlers();
    // Restores SIGPIPE, SIGTERM, SIGINT, SIGHUP, in that order.
    void RemoveSignalHandlers();

    // From now on a termination signal is recorded, not acted on: it stays blocked except while the
    // dispatcher waits, so that a call in progress always finishes and no signal is ever missed.
    static void RecordSignals();
    // Back to ending at once: takes what is pending as recorded, unblocks the signals and returns
    // the recorded exit request (0 when none). A signal from here on ends the process with 128 + n.
    static int32_t EndOnSignal();
    // The exit status a recorded signal asks for, 0 when none; RequestExit stores one by hand.
    static int32_t ExitRequest();
    static void RequestExit(int32_t status);

private:
    bool m_installed = false;
    struct sigaction m_oldHup;
    struct sigaction m_oldInt;
    struct sigaction m_oldTerm;
    struct sigaction m_oldPipe;
};

} // namespace platform
