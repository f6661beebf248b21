#include "framework/kiv/kivwaitset.h"

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>

#include <fcntl.h>
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

TEST_F(KivWaitSetTest, EmptySetReturnsAtOnceAndUnknownKindsAreRefused) {
    EXPECT_TRUE(Wait().empty());
    _KivPosixWait odd;
    odd.kind = 6;
    KivWaitSetEntry entry;
    EXPECT_EQ(KivWaitSetAdd(&set, &odd, &entry), KIV_BAD_KIND);
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
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
    EXPECT_EQ(KivWaitSetGetSize(&set), 3u);

    // Only the write end is ready.
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&eWrite}));
    a.Put();
    b.Put();
    // Read pool first, in its list order, then the write pool.
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&eB, &eA, &eWrite}));
}

TEST_F(KivWaitSetTest, SuspendOnReadyHidesEntryUntilResumed) {
    Pipe p;
    p.Put();
    KivPosixFdWait wait;
    KivWaitSetEntry entry;
    AddFd(wait, entry, p.fds[0]);
    EXPECT_EQ(KivWaitSetEntrySetSuspendOnReady(&entry, 1), KIV_OK);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_TRUE(entry.suspended);
    // Still readable, but suspended: nothing is watched, so the wait returns without sleeping.
    EXPECT_TRUE(Wait().empty());
    EXPECT_EQ(KivWaitSetEntryResume(&entry), KIV_OK);
    EXPECT_EQ(Wait().size(), 1u);
    // The same for an event: suspended, it goes to the end of its pool and the wait returns at once.
    EXPECT_EQ(KivWaitSetEntrySuspend(&entry), KIV_OK);
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

    std::vector<KivWaitSetEntry*> all(3);
    uint64_t count = 2;
    EXPECT_EQ(KivWaitSetGetEntries(&set, all.data(), &count), KIV_MORE);
    EXPECT_EQ(count, 2u);
    count = 3;
    EXPECT_EQ(KivWaitSetGetEntries(&set, all.data(), &count), KIV_OK);
    EXPECT_EQ(all, std::vector<KivWaitSetEntry*>({&e[0], &e[1], &e[2]}));
    count = 3;
    EXPECT_EQ(KivWaitSetFindEntries(&set, &w[1], all.data(), &count), KIV_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(all[0], &e[1]);
}

TEST_F(KivWaitSetTest, TimersFireInExpiryOrderEqualOnesInInsertionOrder) {
    const uint64_t base = KivTimeNow() + 20 * kMs;
    KivTimer t[4];
    KivWaitSetEntry e[4];
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
}

TEST_F(KivWaitSetTest, ResumedTimerGoesBackIntoExpiryOrder) {
    KivTimer t0, t1, t2;
    KivWaitSetEntry e0, e1, e2;
    AddTimer(t0, e0, KivTimeNow() - kMs);
    AddTimer(t1, e1, KivTimeNow() + 3600000 * kMs);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e0}));
    EXPECT_EQ(set.timerPool.tail, &e0);
    EXPECT_EQ(KivWaitSetEntryResume(&e0), KIV_OK);
    EXPECT_EQ(set.timerPool.head, &e0);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e0}));
    // Without suspend-on-ready a due timer stays due.
    AddTimer(t2, e2, KivTimeNow() - kMs, false);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e2}));
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e2}));
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

TEST_F(KivWaitSetTest, SafeEventWakesTheWaitThroughItsPipe) {
    KivSafeEvent event;
    ASSERT_EQ(KivSafeEventInit(&event), KIV_OK);
    EXPECT_TRUE(fcntl(event.readFd, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(event.writeFd, F_GETFD) & FD_CLOEXEC);
    KivWaitSetEntry entry;
    ASSERT_EQ(KivWaitSetAdd(&set, &event, &entry), KIV_OK);
    EXPECT_EQ(entry.pool, &set.readPool);
    for (int i = 0; i < 40; ++i)
        ASSERT_EQ(KivEventSet(&event), KIV_OK);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&entry}));
    // Forty bytes: one full chunk, then a short one.
    EXPECT_EQ(KivEventUnset(&event), KIV_OK);
    EXPECT_EQ(KivEventUnset(&event), KIV_OK); // empty pipe: EAGAIN counts as success
    EXPECT_TRUE(Wait(8, KIV_OK, 0).empty());
    EXPECT_EQ(KivWaitSetRemove(&set, &entry), KIV_OK);
    EXPECT_EQ(KivEventTerminate(&event), KIV_OK);
    EXPECT_EQ(event.readFd, -1);
}

TEST_F(KivWaitSetTest, FailedWaitWithNothingFoundReturnsMinusOne) {
    Pipe p;
    KivPosixFdWait wait;
    KivWaitSetEntry entry;
    AddFd(wait, entry, p.fds[0]);
    // A descriptor closed behind the wait set's back makes pselect fail with EBADF.
    int saved = dup(p.fds[0]);
    close(p.fds[0]);
    EXPECT_TRUE(Wait(8, KIV_FAILED).empty());
    dup2(saved, p.fds[0]);
    close(saved);
}

TEST_F(KivWaitSetTest, DescriptorBitsFollowTheActiveEntries) {
    Pipe p;
    KivPosixFdWait low, high;
    KivWaitSetEntry eLow, eHigh, second;
    AddFd(low, eLow, p.fds[0]);
    AddFd(high, eHigh, p.fds[1]);
    EXPECT_EQ(set.readPool.highest, p.fds[1]);
    EXPECT_EQ(KivWaitSetRemove(&set, &eHigh), KIV_OK);
    EXPECT_EQ(set.readPool.highest, p.fds[0]);
    EXPECT_FALSE(FD_ISSET(p.fds[1], &set.readPool.bits));
    // Two entries on one descriptor keep its bit while one is active.
    AddFd(low, second, p.fds[0]);
    EXPECT_EQ(KivWaitSetEntrySuspend(&eLow), KIV_OK);
    EXPECT_TRUE(FD_ISSET(p.fds[0], &set.readPool.bits));
    EXPECT_EQ(KivWaitSetEntrySuspend(&second), KIV_OK);
    EXPECT_FALSE(FD_ISSET(p.fds[0], &set.readPool.bits));
    EXPECT_EQ(KivWaitSetRemove(&set, &eLow), KIV_OK);
    EXPECT_EQ(KivWaitSetRemove(&set, &second), KIV_OK);
    EXPECT_EQ(set.readPool.highest, -1);
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
}

TEST_F(KivWaitSetTest, EmptyingTakesEveryEntryOutOfEveryPool) {
    Pipe p;
    KivPosixFdWait read, write;
    KivTimer timer;
    KivFastEvent event;
    EXPECT_EQ(KivFastEventInit(&event), KIV_OK);
    KivWaitSetEntry e[4];
    AddFd(read, e[0], p.fds[0]);
    AddFd(write, e[1], p.fds[1], KIV_WAIT_FD_WRITE);
    AddTimer(timer, e[2], 0);
    EXPECT_EQ(KivWaitSetAdd(&set, &event, &e[3]), KIV_OK);
    EXPECT_EQ(KivWaitSetGetSize(&set), 4u);
    EXPECT_EQ(KivWaitSetEmpty(&set), KIV_OK);
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
    for (const KivWaitSetEntry& entry : e)
        EXPECT_EQ(entry.pool, nullptr);
    EXPECT_EQ(set.writePool.highest, -1);
    EXPECT_EQ(KivWaitSetRemove(&set, &e[0]), KIV_FAILED);
    EXPECT_TRUE(Wait().empty());
}

using KivWaitSetDeathTest = KivWaitSetTest;

TEST_F(KivWaitSetDeathTest, DescriptorOf1024Aborts) {
    KivPosixFdWait wait;
    EXPECT_EQ(KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, 1024), KIV_OK);
    KivWaitSetEntry entry;
    EXPECT_DEATH((void)KivWaitSetAdd(&set, &wait, &entry), "pool: Assertion `fd < 1024' failed");
    AddFd(wait, entry, 1023, KIV_WAIT_FD_EXCEPT);
}

} // namespace
