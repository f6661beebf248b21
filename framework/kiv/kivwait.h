// Runtime wait objects: descriptor waits, timers, fast events (a flag) and safe events (a self-pipe).
// Plain records owned by the caller; every function returns a 32-bit status (0 success, negative
// failure) and never throws.
#pragma once

#include <cstdint>

using KivStatus = int32_t;
using KivBool = unsigned char;

inline constexpr KivStatus KIV_OK = 0;
inline constexpr KivStatus KIV_MORE = 2; // more entries were ready than the array holds
inline constexpr KivStatus KIV_FAILED = -1;
inline constexpr KivStatus KIV_OUT_OF_MEMORY = -3;
inline constexpr KivStatus KIV_OUT_OF_BOUNDS = -4;
inline constexpr KivStatus KIV_BAD_KIND = -7; // a wait object of a kind the wait set does not know

// The first field of every wait object; it routes the object to its pool in a wait set.
enum KivWaitKind : uint32_t {
    KIV_WAIT_FD_READ = 0,
    KIV_WAIT_FD_WRITE = 1,
    KIV_WAIT_FD_EXCEPT = 2,
    KIV_WAIT_TIMER = 3,
    KIV_WAIT_FAST_EVENT = 4,
    KIV_WAIT_SAFE_EVENT = 5,
};

struct _KivPosixWait {
    uint32_t kind = 0;
};

struct KivPosixFdWait : _KivPosixWait {
    int32_t fd = -1;
};

// Absolute expiry in nanoseconds on the clock of KivTimeNow.
struct KivTimer : _KivPosixWait {
    uint64_t expiry = 0;
};

// Counts only when a wait set is polled: setting it does not wake a blocked wait.
struct KivFastEvent : _KivPosixWait {
    unsigned char set = 0;
};

// Wakes a blocked wait: setting it writes a byte into a pipe whose read end the wait set watches.
struct KivSafeEvent : _KivPosixWait {
    int32_t readFd = -1;
    int32_t writeFd = -1;
};

// Nanoseconds since the epoch, wall clock (the same clock as platform::Time).
uint64_t KivTimeNow();

// Kind must be one of the three descriptor kinds.
[[nodiscard]] KivStatus KivPosixFdWaitInit(KivPosixFdWait* wait, uint32_t kind, int32_t fd);

[[nodiscard]] KivStatus KivTimerInit(KivTimer* timer);
[[nodiscard]] KivStatus KivTimerSetExpiry(KivTimer* timer, uint64_t expiry);
uint64_t KivTimerGetExpiry(const KivTimer* timer);
[[nodiscard]] KivStatus KivTimerTerminate(KivTimer* timer);

[[nodiscard]] KivStatus KivFastEventInit(KivFastEvent* event);
// Makes the pipe (read end non-blocking, both ends close-on-exec); -1 with nothing left open on failure.
[[nodiscard]] KivStatus KivSafeEventInit(KivSafeEvent* event);

// These take a fast or a safe event; any other kind gives KIV_BAD_KIND.
[[nodiscard]] KivStatus KivEventSet(_KivPosixWait* event);
[[nodiscard]] KivStatus KivEventUnset(_KivPosixWait* event);
[[nodiscard]] KivStatus KivEventTerminate(_KivPosixWait* event);
// Whether a fast event's flag is set (a safe event is never "set" without a wait).
KivBool KivFastEventIsSet(const KivFastEvent* event);
