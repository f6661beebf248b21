#include "framework/kiv/kivwait.h"

#include <cerrno>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

uint64_t KivTimeNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
}

KivStatus KivPosixFdWaitInit(KivPosixFdWait* wait, uint32_t kind, int32_t fd) {
    if (kind > KIV_WAIT_FD_EXCEPT)
        return KIV_BAD_KIND;
    wait->kind = kind;
    wait->fd = fd;
    return KIV_OK;
}

KivStatus KivTimerInit(KivTimer* timer) {
    timer->kind = KIV_WAIT_TIMER;
    timer->expiry = 0;
    return KIV_OK;
}

KivStatus KivTimerSetExpiry(KivTimer* timer, uint64_t expiry) {
    timer->expiry = expiry;
    return KIV_OK;
}

// Not called by the agent; completes the timer's accessors (set, clear, expiry).
uint64_t KivTimerGetExpiry(const KivTimer* timer) {
    return timer->expiry;
}

KivStatus KivTimerTerminate(KivTimer*) {
    return KIV_OK;
}

KivStatus KivFastEventInit(KivFastEvent* event) {
    *event = KivFastEvent{};
    event->kind = KIV_WAIT_FAST_EVENT;
    return KIV_OK;
}

// Not called by the agent; the runtime half of waitable::SafeEvent.
KivStatus KivSafeEventInit(KivSafeEvent* event) {
    event->kind = KIV_WAIT_SAFE_EVENT;
    event->readFd = event->writeFd = -1;
    int fds[2];
    if (pipe(fds) != 0)
        return KIV_FAILED;
    int flags = fcntl(fds[0], F_GETFL);
    if (flags == -1 || fcntl(fds[0], F_SETFL, flags | O_NONBLOCK) == -1 ||
        fcntl(fds[0], F_SETFD, FD_CLOEXEC) == -1 || fcntl(fds[1], F_SETFD, FD_CLOEXEC) == -1) {
        close(fds[0]);
        close(fds[1]);
        return KIV_FAILED;
    }
    event->readFd = fds[0];
    event->writeFd = fds[1];
    return KIV_OK;
}

KivStatus KivEventSet(_KivPosixWait* event) {
    if (event->kind == KIV_WAIT_FAST_EVENT) {
        static_cast<KivFastEvent*>(event)->set = 1;
        return KIV_OK;
    }
    if (event->kind != KIV_WAIT_SAFE_EVENT)
        return KIV_BAD_KIND;
    const char zero = 0;
    return write(static_cast<KivSafeEvent*>(event)->writeFd, &zero, 1) == 1 ? KIV_OK : KIV_FAILED;
}

KivStatus KivEventUnset(_KivPosixWait* event) {
    if (event->kind == KIV_WAIT_FAST_EVENT) {
        static_cast<KivFastEvent*>(event)->set = 0;
        return KIV_OK;
    }
    if (event->kind != KIV_WAIT_SAFE_EVENT)
        return KIV_BAD_KIND;
    // Drains the pipe: a chunk shorter than 32 bytes means nothing is left.
    char chunk[32];
    for (;;) {
        ssize_t got = read(static_cast<KivSafeEvent*>(event)->readFd, chunk, sizeof chunk);
        if (got < 0)
            return (errno == EAGAIN || errno == EWOULDBLOCK) ? KIV_OK : KIV_FAILED;
        if (got < static_cast<ssize_t>(sizeof chunk))
            return KIV_OK;
    }
}

// Not called by the agent; releases a waitable::SafeEvent's pipe.
KivStatus KivEventTerminate(_KivPosixWait* event) {
    if (event->kind == KIV_WAIT_FAST_EVENT)
        return KIV_OK;
    if (event->kind != KIV_WAIT_SAFE_EVENT)
        return KIV_BAD_KIND;
    auto* safe = static_cast<KivSafeEvent*>(event);
    if (safe->readFd >= 0)
        close(safe->readFd);
    if (safe->writeFd >= 0)
        close(safe->writeFd);
    safe->readFd = safe->writeFd = -1;
    return KIV_OK;
}

KivBool KivFastEventIsSet(const KivFastEvent* event) {
    return event->set;
}
