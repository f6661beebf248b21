#include "framework/kiv/kivwaitset.h"

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <vector>

namespace {

constexpr uint64_t kMs = 1000000;

struct Pipe {
    int fds[2];
    Pipe() { EXPECT_EQ(pipe(fds), 0); }
    ~Pipe() {
        close(fds[0]);
        close(fds[1]);
    }
    void Put() { ASSERT_EQ(write(fds[1], "x", 1), 1); }
};

class KivWaitSetTest : public ::testing::Test {
protected:
    // Entries live in the test bodies, so the set is never emptied after them.
    void SetUp() override { ASSERT_EQ(KivWaitSetInit(&set), KIV_OK); }

    // Waits and returns the reported entries.
    std::vector<KivWaitSetEntry*> Wait(uint64_t capacity = 8, KivStatus expected = KIV_OK,
                                       KivBool blocking = 1) {
        std::vector<KivWaitSetEntry*> ready(capacity);
        uint64_t count = capacity;
        EXPECT_EQ(KivWaitSetWait(&set, ready.data(), &count, blocking), expected);
        ready.resize(count);
        return ready;
    }

    void AddFd(KivPosixFdWait& wait, KivWaitSetEntry& entry, int fd, uint32_t kind = KIV_WAIT_FD_READ) {
        EXPECT_EQ(KivPosixFdWaitInit(&wait, kind, fd), KIV_OK);
        ASSERT_EQ(KivWaitSetAdd(&set, &wait, &entry), KIV_OK);
    }

    void AddTimer(KivTimer& timer, KivWaitSetEntry& entry, uint64_t expiry, bool suspendOnReady = true) {
        EXPECT_EQ(KivTimerInit(&timer), KIV_OK);
        EXPECT_EQ(KivTimerSetExpiry(&timer, expiry), KIV_OK);
        ASSERT_EQ(KivWaitSetAdd(&set, &timer, &entry), KIV_OK);
        EXPECT_EQ(KivWaitSetEntrySetSuspendOnReady(&entry, suspendOnReady), KIV_OK);
    }

    KivWaitSet set;
    Watchdog watchdog;
};

// Unknown kinds are refused by the set and by the event calls; an empty set returns at once.
TEST_F(KivWaitSetTest, UnknownKindsAreRefusedAndEmptySetsReturnAtOnce) {
    _KivPosixWait odd;
    odd.kind = 6;
    KivWaitSetEntry entry;
    EXPECT_EQ(KivWaitSetAdd(&set, &odd, &entry), KIV_BAD_KIND);
    EXPECT_TRUE(Wait().empty());
    KivTimer timer;
    EXPECT_EQ(KivTimerInit(&timer), KIV_OK);
    EXPECT_EQ(KivEventSet(&timer), KIV_BAD_KIND);
    EXPECT_EQ(KivEventUnset(&timer), KIV_BAD_KIND);
}

TEST_F(KivWaitSetTest, ReportsReadableAndWritableDescriptorsInPoolOrder) {
    Pipe a, b;
    KivPosixFdWait readA, readB, writeB;
    KivWaitSetEntry eWrite, eA, eB;
    AddFd(writeB, eWrite, b.fds[1], KIV_WAIT_FD_WRITE);
    AddFd(readB, eB, b.fds[0]);
    AddFd(readA, eA, a.fds[0]);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&eWrite})); // only the write end is ready
    a.Put();
    b.Put();
    // Read pool first, in its list order, then the write pool.
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&eB, &eA, &eWrite}));
}

// A reported entry that suspends on ready is hidden until resumed; with nothing left to watch the wait
// returns without sleeping. A second entry on the same descriptor still watches it.
TEST_F(KivWaitSetTest, SuspendOnReadyHidesEntryUntilResumed) {
    Pipe p;
    p.Put();
    KivPosixFdWait wait;
    KivWaitSetEntry entry, second;
    AddFd(wait, entry, p.fds[0]);
    EXPECT_EQ(KivWaitSetEntrySetSuspendOnReady(&entry, 1), KIV_OK);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_TRUE(entry.suspended);
    EXPECT_TRUE(Wait().empty());
    EXPECT_EQ(KivWaitSetEntryResume(&entry), KIV_OK);
    AddFd(wait, second, p.fds[0]);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&entry, &second}));
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&second}));
    EXPECT_EQ(KivWaitSetRemove(&set, &second), KIV_OK);
    // The same for an event: suspended, it goes to the end of its pool.
    KivFastEvent event;
    EXPECT_EQ(KivFastEventInit(&event), KIV_OK);
    KivWaitSetEntry eventEntry;
    ASSERT_EQ(KivWaitSetAdd(&set, &event, &eventEntry), KIV_OK);
    EXPECT_EQ(KivWaitSetEntrySetSuspendOnReady(&eventEntry, 1), KIV_OK);
    EXPECT_EQ(KivEventSet(&event), KIV_OK);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_EQ(set.eventPool.tail, &eventEntry);
    EXPECT_TRUE(Wait().empty());
}

TEST_F(KivWaitSetTest, FullArrayReturnsTwoAndKeepsTheRestForLater) {
    Pipe p[3];
    KivPosixFdWait w[3];
    KivWaitSetEntry e[3];
    for (int i = 0; i < 3; ++i) {
        p[i].Put();
        AddFd(w[i], e[i], p[i].fds[0]);
        EXPECT_EQ(KivWaitSetEntrySetSuspendOnReady(&e[i], 1), KIV_OK);
    }
    EXPECT_EQ(Wait(2, KIV_MORE), std::vector<KivWaitSetEntry*>({&e[0], &e[1]}));
    EXPECT_FALSE(e[2].suspended);
    EXPECT_EQ(Wait(2), std::vector<KivWaitSetEntry*>({&e[2]}));
}

// Timers fire in expiry order, equal ones in insertion order; a resumed timer goes back into that
// order, and without suspend-on-ready a due timer stays due.
TEST_F(KivWaitSetTest, TimersFireInExpiryOrderEqualOnesInInsertionOrder) {
    const uint64_t base = KivTimeNow() + 20 * kMs;
    KivTimer t[6];
    KivWaitSetEntry e[6];
    const uint64_t offsets[] = {10, 0, 10, 5};
    for (int i = 0; i < 4; ++i)
        AddTimer(t[i], e[i], base + offsets[i] * kMs);
    std::vector<KivWaitSetEntry*> fired;
    while (fired.size() < 4) {
        auto ready = Wait();
        ASSERT_FALSE(ready.empty());
        fired.insert(fired.end(), ready.begin(), ready.end());
    }
    EXPECT_EQ(fired, std::vector<KivWaitSetEntry*>({&e[1], &e[3], &e[0], &e[2]}));
    EXPECT_GE(KivTimeNow(), base + 10 * kMs);

    AddTimer(t[4], e[4], KivTimeNow() + 3600000 * kMs);
    EXPECT_EQ(KivWaitSetEntryResume(&e[0]), KIV_OK);
    EXPECT_EQ(set.timerPool.head, &e[0]);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e[0]}));
    AddTimer(t[5], e[5], KivTimeNow() - kMs, false);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e[5]}));
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e[5]}));
}

// A silent descriptor is watched without a time-out: a timer bounds the wait, and once the timer is
// suspended, a set event (anything reported) or a non-blocking wait makes the wait a poll.
TEST_F(KivWaitSetTest, TimersAndReportedEntriesBoundTheWaitOnASilentDescriptor) {
    Pipe p;
    KivPosixFdWait wait;
    KivWaitSetEntry fdEntry, timerEntry, eventEntry;
    AddFd(wait, fdEntry, p.fds[0]);
    KivTimer t;
    const uint64_t expiry = KivTimeNow() + 30 * kMs;
    AddTimer(t, timerEntry, expiry);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&timerEntry}));
    EXPECT_GE(KivTimeNow(), expiry);
    KivFastEvent event;
    EXPECT_EQ(KivFastEventInit(&event), KIV_OK);
    ASSERT_EQ(KivWaitSetAdd(&set, &event, &eventEntry), KIV_OK);
    EXPECT_EQ(KivEventSet(&event), KIV_OK);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&eventEntry}));
    EXPECT_EQ(KivEventUnset(&event), KIV_OK);
    EXPECT_TRUE(Wait(8, KIV_OK, 0).empty());
}

// A failed wait with nothing found returns -1; descriptors past the select limit abort.
TEST_F(KivWaitSetTest, FailedWaitReturnsMinusOneAndHighDescriptorsAbort) {
    Pipe p;
    KivPosixFdWait wait, high;
    KivWaitSetEntry entry, highEntry;
    AddFd(wait, entry, p.fds[0]);
    // A descriptor closed behind the wait set's back makes pselect fail with EBADF.
    int saved = dup(p.fds[0]);
    close(p.fds[0]);
    EXPECT_TRUE(Wait(8, KIV_FAILED).empty());
    dup2(saved, p.fds[0]);
    close(saved);
    EXPECT_EQ(KivPosixFdWaitInit(&high, KIV_WAIT_FD_READ, 1024), KIV_OK);
    EXPECT_DEATH((void)KivWaitSetAdd(&set, &high, &highEntry), "fd < 1024");
    AddFd(high, highEntry, 1023, KIV_WAIT_FD_EXCEPT);
}

} // namespace
