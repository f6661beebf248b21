// The runtime wait set: waits on descriptors, timers and events at once with pselect. Entries are
// owned by the caller and linked into per-kind pools; functions return 32-bit statuses and never
// throw. A descriptor of 1024 or more aborts ("fd < 1024"): the pools are fd_set bitmaps.
#pragma once

#include "framework/kiv/kivwait.h"

#include <csignal>
#include <cstdint>
#include <sys/select.h>

struct KivWaitSet;
struct KivWaitSetPool;

// One wait of a caller on one wait object. Zeroed by the pool when it is added.
struct KivWaitSetEntry {
    KivWaitSetEntry* next = nullptr;
    KivWaitSetEntry* prev = nullptr;
    KivWaitSetPool* pool = nullptr;
    _KivPosixWait* waitObject = nullptr;
    unsigned char suspendOnReady = 0;
    unsigned char suspended = 0;
};

enum KivPoolKind : uint32_t {
    KIV_POOL_FD = 0,
    KIV_POOL_TIMER = 1,
    KIV_POOL_EVENT = 2,
};

struct KivWaitSetPool {
    uint32_t poolKind = KIV_POOL_FD;
    KivWaitSetEntry* head = nullptr;
    KivWaitSetEntry* tail = nullptr;
};

// Descriptor pool: the bitmap holds the descriptors of the entries that are not suspended.
struct KivPosixFdPool : KivWaitSetPool {
    fd_set bits;
    int32_t highest = -1; // -1 while the pool is empty
};

struct KivWaitSet {
    uint64_t count = 0;
    KivPosixFdPool readPool;
    KivPosixFdPool writePool;
    KivPosixFdPool exceptPool;
    KivWaitSetPool timerPool; // in order of expiry, suspended timers at the tail
    KivWaitSetPool eventPool; // suspended events at the tail
};

[[nodiscard]] KivStatus KivWaitSetInit(KivWaitSet* set);
[[nodiscard]] KivStatus KivWaitSetTerminate(KivWaitSet* set);
uint64_t KivWaitSetGetSize(const KivWaitSet* set);

// Routes the entry to the pool of the object's kind; KIV_BAD_KIND for a kind above 5.
[[nodiscard]] KivStatus KivWaitSetAdd(KivWaitSet* set, _KivPosixWait* waitObject, KivWaitSetEntry* entry);
[[nodiscard]] KivStatus KivWaitSetRemove(KivWaitSet* set, KivWaitSetEntry* entry);
// Removes every entry.
[[nodiscard]] KivStatus KivWaitSetEmpty(KivWaitSet* set);
// Copies out every entry (descriptor pools, then timers, then events); KIV_MORE when *inOutCount
// is too small, after filling the array.
[[nodiscard]] KivStatus KivWaitSetGetEntries(KivWaitSet* set, KivWaitSetEntry** entries,
                                             uint64_t* inOutCount);
// The same, restricted to the entries of one wait object.
[[nodiscard]] KivStatus KivWaitSetFindEntries(KivWaitSet* set, const _KivPosixWait* waitObject,
                                              KivWaitSetEntry** entries, uint64_t* inOutCount);

// Collects ready entries into `ready` (capacity *inOutCount; the number found is stored back).
// Returns 0, KIV_MORE when more were ready than the array holds, or -1 when the wait failed and
// nothing was found. An entry with suspend-on-ready is suspended as it is reported.
[[nodiscard]] KivStatus KivWaitSetWait(KivWaitSet* set, KivWaitSetEntry** ready, uint64_t* inOutCount,
                                       KivBool blocking);
// The signal mask every wait of the process runs with (copied), or null for the thread's own mask. A
// program that blocks a signal everywhere else and unblocks it here sees it only inside the wait, so
// it can never land between the program's last look at what the signal recorded and the wait.
void KivWaitSetSetSignalMask(const sigset_t* mask);

_KivPosixWait* KivWaitSetEntryGetWaitObject(const KivWaitSetEntry* entry);
[[nodiscard]] KivStatus KivWaitSetEntrySetSuspendOnReady(KivWaitSetEntry* entry, KivBool suspendOnReady);
KivBool KivWaitSetEntryGetSuspendOnReady(const KivWaitSetEntry* entry);
[[nodiscard]] KivStatus KivWaitSetEntrySuspend(KivWaitSetEntry* entry);
[[nodiscard]] KivStatus KivWaitSetEntryResume(KivWaitSetEntry* entry);

// The descriptor pool's own add; exposed so that the bound can be checked directly.
[[nodiscard]] KivStatus KivPosixFdPoolAdd(KivPosixFdPool* pool, KivWaitSetEntry* entry);
