#include "framework/kiv/kivwaitset.h"

#include "framework/kiv/kivassert.h"

#include <algorithm>
#include <cerrno>
#include <time.h>

namespace {

sigset_t g_waitMask;
bool g_hasWaitMask = false;

void Unlink(KivWaitSetPool* pool, KivWaitSetEntry* entry) {
    (entry->prev ? entry->prev->next : pool->head) = entry->next;
    (entry->next ? entry->next->prev : pool->tail) = entry->prev;
    entry->next = entry->prev = nullptr;
}

// Links `entry` before `before`, or at the tail when `before` is null.
void LinkBefore(KivWaitSetPool* pool, KivWaitSetEntry* entry, KivWaitSetEntry* before) {
    entry->next = before;
    entry->prev = before ? before->prev : pool->tail;
    (entry->prev ? entry->prev->next : pool->head) = entry;
    (before ? before->prev : pool->tail) = entry;
}

int32_t EntryFd(const KivWaitSetEntry* entry) {
    const _KivPosixWait* wait = entry->waitObject;
    if (wait->kind == KIV_WAIT_SAFE_EVENT)
        return static_cast<const KivSafeEvent*>(wait)->readFd;
    return static_cast<const KivPosixFdWait*>(wait)->fd;
}

uint64_t TimerExpiry(const KivWaitSetEntry* entry) {
    return static_cast<const KivTimer*>(entry->waitObject)->expiry;
}

// Another entry of the pool that still wants this descriptor keeps its bit set.
bool FdWantedByOther(const KivPosixFdPool* pool, const KivWaitSetEntry* entry, int32_t fd) {
    for (const KivWaitSetEntry* e = pool->head; e; e = e->next)
        if (e != entry && !e->suspended && EntryFd(e) == fd)
            return true;
    return false;
}

void InitFdPool(KivPosixFdPool* pool) {
    pool->poolKind = KIV_POOL_FD;
    pool->head = pool->tail = nullptr;
    FD_ZERO(&pool->bits);
    pool->highest = -1;
}

void InitPool(KivWaitSetPool* pool, uint32_t kind) {
    pool->poolKind = kind;
    pool->head = pool->tail = nullptr;
}

void FdPoolRemove(KivPosixFdPool* pool, KivWaitSetEntry* entry) {
    const int32_t fd = EntryFd(entry);
    Unlink(pool, entry);
    if (!FdWantedByOther(pool, entry, fd))
        FD_CLR(fd, &pool->bits);
    if (fd == pool->highest) {
        pool->highest = -1;
        for (const KivWaitSetEntry* e = pool->head; e; e = e->next)
            pool->highest = std::max(pool->highest, EntryFd(e));
    }
}

// A timer goes after every waiting timer that expires no later than it (so equal expiries keep
// their order of insertion) and before the suspended ones.
void TimerPoolInsert(KivWaitSetPool* pool, KivWaitSetEntry* entry) {
    KivWaitSetEntry* before = pool->head;
    while (before && !before->suspended && TimerExpiry(before) <= TimerExpiry(entry))
        before = before->next;
    LinkBefore(pool, entry, before);
}

KivWaitSetEntry* FirstSuspended(KivWaitSetPool* pool) {
    KivWaitSetEntry* e = pool->head;
    while (e && !e->suspended)
        e = e->next;
    return e;
}

void MoveToTailSuspended(KivWaitSetPool* pool, KivWaitSetEntry* entry) {
    entry->suspended = 1;
    Unlink(pool, entry);
    LinkBefore(pool, entry, nullptr);
}

// Reports due timers from the head, up to the first suspended or future one. Returns KIV_MORE
// when the array filled up with a due timer still unreported.
KivStatus CollectTimers(KivWaitSet* set, KivWaitSetEntry** ready, uint64_t capacity, uint64_t* found) {
    const uint64_t now = KivTimeNow();
    KivWaitSetPool* pool = &set->timerPool;
    KivWaitSetEntry* e = pool->head;
    while (e && !e->suspended && TimerExpiry(e) <= now) {
        if (*found == capacity)
            return KIV_MORE;
        KivWaitSetEntry* next = e->next;
        ready[(*found)++] = e;
        if (e->suspendOnReady)
            MoveToTailSuspended(pool, e);
        e = next;
    }
    return KIV_OK;
}

KivStatus CollectEvents(KivWaitSet* set, KivWaitSetEntry** ready, uint64_t capacity, uint64_t* found) {
    KivWaitSetPool* pool = &set->eventPool;
    KivWaitSetEntry* e = pool->head;
    while (e && !e->suspended) {
        KivWaitSetEntry* next = e->next;
        const _KivPosixWait* wait = e->waitObject;
        if (wait->kind == KIV_WAIT_FAST_EVENT && static_cast<const KivFastEvent*>(wait)->set) {
            if (*found == capacity)
                return KIV_MORE;
            ready[(*found)++] = e;
            if (e->suspendOnReady)
                MoveToTailSuspended(pool, e);
        }
        e = next;
    }
    return KIV_OK;
}

KivStatus CollectFds(KivPosixFdPool* pool, const fd_set& active, KivWaitSetEntry** ready, uint64_t capacity,
                     uint64_t* found) {
    for (KivWaitSetEntry* e = pool->head; e; e = e->next) {
        if (e->suspended || !FD_ISSET(EntryFd(e), &active))
            continue;
        if (*found == capacity)
            return KIV_MORE;
        ready[(*found)++] = e;
        if (e->suspendOnReady)
            (void)KivWaitSetEntrySuspend(e); // e is a live entry of this pool
    }
    return KIV_OK;
}

bool AnyBitSet(const fd_set& bits, int32_t highest) {
    for (int32_t fd = 0; fd <= highest; ++fd)
        if (FD_ISSET(fd, &bits))
            return true;
    return false;
}

KivStatus CopyOut(KivWaitSet* set, const _KivPosixWait* only, KivWaitSetEntry** entries,
                  uint64_t* inOutCount) {
    const uint64_t capacity = *inOutCount;
    uint64_t n = 0;
    KivStatus status = KIV_OK;
    KivWaitSetPool* pools[] = {&set->readPool, &set->writePool, &set->exceptPool, &set->timerPool,
                               &set->eventPool};
    for (KivWaitSetPool* pool : pools)
        for (KivWaitSetEntry* e = pool->head; e; e = e->next) {
            if (only && e->waitObject != only)
                continue;
            if (n == capacity) {
                status = KIV_MORE;
                break;
            }
            entries[n++] = e;
        }
    *inOutCount = n;
    return status;
}

} // namespace

KivStatus KivWaitSetInit(KivWaitSet* set) {
    set->count = 0;
    InitFdPool(&set->readPool);
    InitFdPool(&set->writePool);
    InitFdPool(&set->exceptPool);
    InitPool(&set->timerPool, KIV_POOL_TIMER);
    InitPool(&set->eventPool, KIV_POOL_EVENT);
    return KIV_OK;
}

KivStatus KivWaitSetTerminate(KivWaitSet* set) {
    return KivWaitSetEmpty(set);
}

uint64_t KivWaitSetGetSize(const KivWaitSet* set) {
    return set->count;
}

KivStatus KivPosixFdPoolAdd(KivPosixFdPool* pool, KivWaitSetEntry* entry) {
    const int32_t fd = EntryFd(entry);
    KIV_ASSERT(fd < 1024, "pool");
    if (fd < 0)
        return KIV_FAILED;
    entry->pool = pool;
    LinkBefore(pool, entry, nullptr);
    FD_SET(fd, &pool->bits);
    pool->highest = std::max(pool->highest, fd);
    return KIV_OK;
}

KivStatus KivWaitSetAdd(KivWaitSet* set, _KivPosixWait* waitObject, KivWaitSetEntry* entry) {
    *entry = KivWaitSetEntry{};
    entry->waitObject = waitObject;
    KivStatus status = KIV_OK;
    switch (waitObject->kind) {
    case KIV_WAIT_FD_READ:
    case KIV_WAIT_SAFE_EVENT:
        status = KivPosixFdPoolAdd(&set->readPool, entry);
        break;
    case KIV_WAIT_FD_WRITE:
        status = KivPosixFdPoolAdd(&set->writePool, entry);
        break;
    case KIV_WAIT_FD_EXCEPT:
        status = KivPosixFdPoolAdd(&set->exceptPool, entry);
        break;
    case KIV_WAIT_TIMER:
        entry->pool = &set->timerPool;
        TimerPoolInsert(&set->timerPool, entry);
        break;
    case KIV_WAIT_FAST_EVENT:
        entry->pool = &set->eventPool;
        LinkBefore(&set->eventPool, entry, FirstSuspended(&set->eventPool));
        break;
    default:
        status = KIV_BAD_KIND;
        break;
    }
    if (status != KIV_OK) {
        *entry = KivWaitSetEntry{};
        return status;
    }
    ++set->count;
    return KIV_OK;
}

namespace {

void RemoveFromPool(KivWaitSet* set, KivWaitSetPool* pool, KivWaitSetEntry* entry) {
    if (pool->poolKind == KIV_POOL_FD)
        FdPoolRemove(static_cast<KivPosixFdPool*>(pool), entry);
    else
        Unlink(pool, entry);
    entry->pool = nullptr;
    --set->count;
}

} // namespace

KivStatus KivWaitSetRemove(KivWaitSet* set, KivWaitSetEntry* entry) {
    KivWaitSetPool* pool = entry->pool;
    if (!pool)
        return KIV_FAILED;
    RemoveFromPool(set, pool, entry);
    return KIV_OK;
}

KivStatus KivWaitSetEmpty(KivWaitSet* set) {
    KivWaitSetPool* pools[] = {&set->readPool, &set->writePool, &set->exceptPool, &set->timerPool,
                               &set->eventPool};
    for (KivWaitSetPool* pool : pools)
        while (pool->head)
            RemoveFromPool(set, pool, pool->head);
    return KIV_OK;
}

// Not called by the agent; kept with the wait set's other queries of its entries.
KivStatus KivWaitSetGetEntries(KivWaitSet* set, KivWaitSetEntry** entries, uint64_t* inOutCount) {
    return CopyOut(set, nullptr, entries, inOutCount);
}

// Not called by the agent; kept with the wait set's other queries of its entries.
KivStatus KivWaitSetFindEntries(KivWaitSet* set, const _KivPosixWait* waitObject, KivWaitSetEntry** entries,
                                uint64_t* inOutCount) {
    return CopyOut(set, waitObject, entries, inOutCount);
}

KivStatus KivWaitSetWait(KivWaitSet* set, KivWaitSetEntry** ready, uint64_t* inOutCount, KivBool blocking) {
    const uint64_t capacity = *inOutCount;
    uint64_t found = 0;
    *inOutCount = 0;
    if (set->count == 0)
        return KIV_OK;

    KivStatus status = CollectTimers(set, ready, capacity, &found);
    if (status == KIV_OK)
        status = CollectEvents(set, ready, capacity, &found);
    if (status != KIV_OK) {
        *inOutCount = found;
        return status;
    }

    fd_set readBits = set->readPool.bits;
    fd_set writeBits = set->writePool.bits;
    fd_set exceptBits = set->exceptPool.bits;
    const int32_t highest =
        std::max({set->readPool.highest, set->writePool.highest, set->exceptPool.highest});

    timespec timeout{};
    const timespec* pTimeout = &timeout;
    bool timedByTimer = false;
    if (found == 0 && blocking) {
        const KivWaitSetEntry* firstTimer = set->timerPool.head;
        if (firstTimer && !firstTimer->suspended) {
            const uint64_t now = KivTimeNow();
            const uint64_t expiry = TimerExpiry(firstTimer);
            const uint64_t wait = expiry > now ? expiry - now : 0;
            timeout.tv_sec = static_cast<time_t>(wait / 1000000000u);
            timeout.tv_nsec = static_cast<long>(wait % 1000000000u);
            timedByTimer = true;
        } else if (AnyBitSet(readBits, highest) || AnyBitSet(writeBits, highest) ||
                   AnyBitSet(exceptBits, highest)) {
            pTimeout = nullptr;
        } else if (!set->eventPool.head || set->eventPool.head->suspended) {
            // Nothing could ever become ready: do not sleep.
            return KIV_OK;
        } else {
            // Only fast events wait here, and they never wake pselect: only a signal ends this.
            pTimeout = nullptr;
        }
    }

    const int rc = pselect(highest + 1, &readBits, &writeBits, &exceptBits, pTimeout,
                           g_hasWaitMask ? &g_waitMask : nullptr);
    if (rc < 0) {
        *inOutCount = found;
        return found == 0 ? KIV_FAILED : KIV_OK;
    }
    if (rc == 0) {
        if (timedByTimer)
            status = CollectTimers(set, ready, capacity, &found);
        *inOutCount = found;
        return status;
    }
    status = CollectFds(&set->readPool, readBits, ready, capacity, &found);
    if (status == KIV_OK)
        status = CollectFds(&set->writePool, writeBits, ready, capacity, &found);
    if (status == KIV_OK)
        status = CollectFds(&set->exceptPool, exceptBits, ready, capacity, &found);
    *inOutCount = found;
    return status;
}

void KivWaitSetSetSignalMask(const sigset_t* mask) {
    if (mask)
        g_waitMask = *mask;
    g_hasWaitMask = mask != nullptr;
}

// Not called by the agent; the dispatcher reads the entry's field itself.
_KivPosixWait* KivWaitSetEntryGetWaitObject(const KivWaitSetEntry* entry) {
    return entry->waitObject;
}

KivStatus KivWaitSetEntrySetSuspendOnReady(KivWaitSetEntry* entry, KivBool suspendOnReady) {
    entry->suspendOnReady = suspendOnReady ? 1 : 0;
    return KIV_OK;
}

// Not called by the agent; the getter beside the setter the dispatcher uses.
KivBool KivWaitSetEntryGetSuspendOnReady(const KivWaitSetEntry* entry) {
    return entry->suspendOnReady;
}

KivStatus KivWaitSetEntrySuspend(KivWaitSetEntry* entry) {
    KivWaitSetPool* pool = entry->pool;
    if (!pool)
        return KIV_FAILED;
    if (entry->suspended)
        return KIV_OK;
    if (pool->poolKind == KIV_POOL_FD) {
        auto* fdPool = static_cast<KivPosixFdPool*>(pool);
        const int32_t fd = EntryFd(entry);
        entry->suspended = 1;
        if (!FdWantedByOther(fdPool, entry, fd))
            FD_CLR(fd, &fdPool->bits);
    } else {
        MoveToTailSuspended(pool, entry);
    }
    return KIV_OK;
}

KivStatus KivWaitSetEntryResume(KivWaitSetEntry* entry) {
    KivWaitSetPool* pool = entry->pool;
    if (!pool)
        return KIV_FAILED;
    if (!entry->suspended)
        return KIV_OK;
    entry->suspended = 0;
    if (pool->poolKind == KIV_POOL_FD) {
        FD_SET(EntryFd(entry), &static_cast<KivPosixFdPool*>(pool)->bits);
    } else {
        Unlink(pool, entry);
        if (pool->poolKind == KIV_POOL_TIMER)
            TimerPoolInsert(pool, entry);
        else
            LinkBefore(pool, entry, FirstSuspended(pool));
    }
    return KIV_OK;
}
