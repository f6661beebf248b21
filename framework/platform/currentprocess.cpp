#include "framework/platform/currentprocess.h"

#include "framework/kiv/kivwaitset.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>

namespace platform {

namespace {

volatile std::sig_atomic_t g_exitRequest = 0;
volatile std::sig_atomic_t g_recording = 0;

void OnTerminationSignal(int signal) {
    if (!g_recording)
        _exit(kExitSignalBase + signal);
    // The first one stands: the ending is already under way.
    if (g_exitRequest == 0)
        g_exitRequest = kExitSignalBase + signal;
}

sigset_t TerminationSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGHUP);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

void Install(int signal, void (*handler)(int), struct sigaction* old) {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = handler;
    // The three share one handler: none interrupts it while it stores its request.
    action.sa_mask = TerminationSignals();
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

void CurrentProcess::RecordSignals() {
    const sigset_t signals = TerminationSignals();
    sigset_t wait;
    sigprocmask(SIG_BLOCK, &signals, &wait);
    // The wait is the one place where they get through.
    for (int signal : {SIGHUP, SIGINT, SIGTERM})
        sigdelset(&wait, signal);
    KivWaitSetSetSignalMask(&wait);
    g_recording = 1;
}

int32_t CurrentProcess::EndOnSignal() {
    if (g_recording) {
        // Those that came before this point belong to the ending under way, not to its clean-up.
        const sigset_t signals = TerminationSignals();
        const timespec none{0, 0};
        for (int signal; (signal = sigtimedwait(&signals, nullptr, &none)) > 0;)
            if (g_exitRequest == 0)
                g_exitRequest = kExitSignalBase + signal;
        g_recording = 0;
        KivWaitSetSetSignalMask(nullptr);
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    }
    return g_exitRequest;
}

int32_t CurrentProcess::ExitRequest() {
    return g_exitRequest;
}

void CurrentProcess::RequestExit(int32_t status) {
    g_exitRequest = status;
}

} // namespace platform
