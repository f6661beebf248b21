#include "framework/platform/currentprocess.h"

#include "framework/platform/dispatcher.h"

#include <sys/prctl.h>

#include <cstring>

namespace platform {

namespace {

void OnTerminationSignal(int signal) {
    if (Dispatcher* dispatcher = Dispatcher::Get())
        dispatcher->RequestExit(kExitSignalBase + signal);
}

void Install(int signal, void (*handler)(int), struct sigaction* old) {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: the signal must interrupt a blocked wait.
    action.sa_flags = 0;
    sigaction(signal, &action, old);
}

} // namespace

CurrentProcess::CurrentProcess() {
    InstallSignalHandlers();
}

CurrentProcess::~CurrentProcess() {
    RemoveSignalHandlers();
}

void CurrentProcess::ForbidDumps() {
    (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0); // nothing to report: the agent runs on either way
}

CurrentProcess& CurrentProcess::Instance() {
    static CurrentProcess process;
    return process;
}

void CurrentProcess::InstallSignalHandlers() {
    if (m_installed)
        return;
    Install(SIGHUP, OnTerminationSignal, &m_oldHup);
    Install(SIGINT, OnTerminationSignal, &m_oldInt);
    Install(SIGTERM, OnTerminationSignal, &m_oldTerm);
    Install(SIGPIPE, SIG_IGN, &m_oldPipe);
    m_installed = true;
}

void CurrentProcess::RemoveSignalHandlers() {
    if (!m_installed)
        return;
    sigaction(SIGPIPE, &m_oldPipe, nullptr);
    sigaction(SIGTERM, &m_oldTerm, nullptr);
    sigaction(SIGINT, &m_oldInt, nullptr);
    sigaction(SIGHUP, &m_oldHup, nullptr);
    m_installed = false;
}

} // namespace platform
