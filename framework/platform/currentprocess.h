// platform::CurrentProcess: while it exists, SIGHUP, SIGINT and SIGTERM store 128 + the signal number
// as the exit request of platform::Dispatcher::Get(), and SIGPIPE is ignored; its destructor puts the
// previous actions back. One per process (Instance()); installing fails silently per signal.
#pragma once

#include <csignal>

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

private:
    bool m_installed = false;
    struct sigaction m_oldHup;
    struct sigaction m_oldInt;
    struct sigaction m_oldTerm;
    struct sigaction m_oldPipe;
};

} // namespace platform
