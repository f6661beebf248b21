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
    void SetUp() override { KivWaitSetInit(&set); }

    // Waits and returns the reported entries.
    std::vector<KivWaitSetEntry*> Wait(uint64_t capacity = 8, KivStatus expected = KIV_OK,
                                       KivBool blocking = 1) {
        std::vector<KivWaitSetEntry*> ready(capacity);
        uint64_t count = capacity;
        EXPECT_EQ(KivWaitSetWait(&set, ready.data(), &count, blocking), expected);
        ready.resize(count);
        return ready;
    }

    void AddTimer(KivTimer& timer, KivWaitSetEntry& entry, uint64_t expiry, bool suspendOnReady = true) {
        KivTimerInit(&timer);
        KivTimerSetExpiry(&timer, expiry);
        ASSERT_EQ(KivWaitSetAdd(&set, &timer, &entry), KIV_OK);
        KivWaitSetEntrySetSuspendOnReady(&entry, suspendOnReady);
    }

    KivWaitSet set;
    Watchdog watchdog;
};

TEST_F(KivWaitSetTest, EmptySetReturnsAtOnceWithNothing) {
    EXPECT_TRUE(Wait().empty());
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
}

TEST_F(KivWaitSetTest, RefusesUnknownKindWithoutCountingIt) {
    _KivPosixWait odd;
    odd.kind = 6;
    KivWaitSetEntry entry;
    EXPECT_EQ(KivWaitSetAdd(&set, &odd, &entry), KIV_BAD_KIND);
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
}

TEST_F(KivWaitSetTest, ReportsReadableAndWritableDescriptorsInPoolOrder) {
    Pipe a, b;
    KivPosixFdWait readA, readB, writeB;
    KivPosixFdWaitInit(&readA, KIV_WAIT_FD_READ, a.fds[0]);
    KivPosixFdWaitInit(&readB, KIV_WAIT_FD_READ, b.fds[0]);
    KivPosixFdWaitInit(&writeB, KIV_WAIT_FD_WRITE, b.fds[1]);
    KivWaitSetEntry eWrite, eA, eB;
    ASSERT_EQ(KivWaitSetAdd(&set, &writeB, &eWrite), KIV_OK);
    ASSERT_EQ(KivWaitSetAdd(&set, &readB, &eB), KIV_OK);
    ASSERT_EQ(KivWaitSetAdd(&set, &readA, &eA), KIV_OK);
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
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, p.fds[0]);
    KivWaitSetEntry entry;
    ASSERT_EQ(KivWaitSetAdd(&set, &wait, &entry), KIV_OK);
    KivWaitSetEntrySetSuspendOnReady(&entry, 1);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_TRUE(entry.suspended);
    // Still readable, but suspended: nothing is watched, so the wait returns without sleeping.
    EXPECT_TRUE(Wait().empty());
    KivWaitSetEntryResume(&entry);
    EXPECT_EQ(Wait().size(), 1u);
}

TEST_F(KivWaitSetTest, FullArrayReturnsTwoAndKeepsTheRestForLater) {
    Pipe p1, p2, p3;
    KivPosixFdWait w[3];
    KivWaitSetEntry e[3];
    Pipe* pipes[] = {&p1, &p2, &p3};
    for (int i = 0; i < 3; ++i) {
        pipes[i]->Put();
        KivPosixFdWaitInit(&w[i], KIV_WAIT_FD_READ, pipes[i]->fds[0]);
        ASSERT_EQ(KivWaitSetAdd(&set, &w[i], &e[i]), KIV_OK);
        KivWaitSetEntrySetSuspendOnReady(&e[i], 1);
    }
    EXPECT_EQ(Wait(2, KIV_MORE), std::vector<KivWaitSetEntry*>({&e[0], &e[1]}));
    EXPECT_FALSE(e[2].suspended);
    EXPECT_EQ(Wait(2), std::vector<KivWaitSetEntry*>({&e[2]}));

    std::vector<KivWaitSetEntry*> all(2);
    uint64_t count = 2;
    EXPECT_EQ(KivWaitSetGetEntries(&set, all.data(), &count), KIV_MORE);
    EXPECT_EQ(count, 2u);
    all.resize(3);
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
    AddTimer(t[0], e[0], base + 10 * kMs);
    AddTimer(t[1], e[1], base);
    AddTimer(t[2], e[2], base + 10 * kMs);
    AddTimer(t[3], e[3], base + 5 * kMs);
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
    const uint64_t past = KivTimeNow() - kMs;
    KivTimer t0, t1;
    KivWaitSetEntry e0, e1;
    AddTimer(t0, e0, past);
    AddTimer(t1, e1, KivTimeNow() + 3600000 * kMs);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e0}));
    EXPECT_EQ(set.timerPool.tail, &e0);
    KivWaitSetEntryResume(&e0);
    EXPECT_EQ(set.timerPool.head, &e0);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&e0}));
}

TEST_F(KivWaitSetTest, TimerWithoutSuspendOnReadyStaysDue) {
    KivTimer t;
    KivWaitSetEntry e;
    AddTimer(t, e, KivTimeNow() - kMs, false);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_EQ(Wait().size(), 1u);
}

TEST_F(KivWaitSetTest, TimerBoundsTheWaitOnASilentDescriptor) {
    Pipe p;
    KivPosixFdWait wait;
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, p.fds[0]);
    KivWaitSetEntry fdEntry, timerEntry;
    ASSERT_EQ(KivWaitSetAdd(&set, &wait, &fdEntry), KIV_OK);
    KivTimer t;
    const uint64_t expiry = KivTimeNow() + 30 * kMs;
    AddTimer(t, timerEntry, expiry);
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&timerEntry}));
    EXPECT_GE(KivTimeNow(), expiry);
}

TEST_F(KivWaitSetTest, AnythingReportedMakesTheDescriptorWaitAPoll) {
    Pipe p;
    KivPosixFdWait wait;
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, p.fds[0]);
    KivWaitSetEntry fdEntry, eventEntry;
    ASSERT_EQ(KivWaitSetAdd(&set, &wait, &fdEntry), KIV_OK);
    KivFastEvent event;
    KivFastEventInit(&event);
    ASSERT_EQ(KivWaitSetAdd(&set, &event, &eventEntry), KIV_OK);
    KivEventSet(&event);
    // The pipe is silent and watched without a time-out, yet the set event makes this a poll.
    EXPECT_EQ(Wait(), std::vector<KivWaitSetEntry*>({&eventEntry}));
    KivEventUnset(&event);
    // Not blocking: a poll as well.
    EXPECT_TRUE(Wait(8, KIV_OK, 0).empty());
}

TEST_F(KivWaitSetTest, OnlySuspendedEventsReturnWithoutWaiting) {
    KivFastEvent event;
    KivFastEventInit(&event);
    KivWaitSetEntry entry;
    ASSERT_EQ(KivWaitSetAdd(&set, &event, &entry), KIV_OK);
    KivWaitSetEntrySetSuspendOnReady(&entry, 1);
    KivEventSet(&event);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_EQ(set.eventPool.tail, &entry);
    EXPECT_TRUE(Wait().empty());
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
    KivWaitSetRemove(&set, &entry);
    KivEventTerminate(&event);
    EXPECT_EQ(event.readFd, -1);
}

TEST_F(KivWaitSetTest, EventCallsRefuseOtherKinds) {
    KivTimer timer;
    KivTimerInit(&timer);
    EXPECT_EQ(KivEventSet(&timer), KIV_BAD_KIND);
    EXPECT_EQ(KivEventUnset(&timer), KIV_BAD_KIND);
}

TEST_F(KivWaitSetTest, FailedWaitWithNothingFoundReturnsMinusOne) {
    Pipe p;
    KivPosixFdWait wait;
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, p.fds[0]);
    KivWaitSetEntry entry;
    ASSERT_EQ(KivWaitSetAdd(&set, &wait, &entry), KIV_OK);
    // A descriptor closed behind the wait set's back makes pselect fail with EBADF.
    int saved = dup(p.fds[0]);
    close(p.fds[0]);
    EXPECT_TRUE(Wait(8, KIV_FAILED).empty());
    dup2(saved, p.fds[0]);
    close(saved);
}

TEST_F(KivWaitSetTest, RemovingTheHighestDescriptorRecomputesIt) {
    Pipe p;
    KivPosixFdWait low, high;
    KivPosixFdWaitInit(&low, KIV_WAIT_FD_READ, p.fds[0]);
    KivPosixFdWaitInit(&high, KIV_WAIT_FD_READ, p.fds[1]);
    KivWaitSetEntry eLow, eHigh;
    KivWaitSetAdd(&set, &low, &eLow);
    KivWaitSetAdd(&set, &high, &eHigh);
    EXPECT_EQ(set.readPool.highest, p.fds[1]);
    KivWaitSetRemove(&set, &eHigh);
    EXPECT_EQ(set.readPool.highest, p.fds[0]);
    EXPECT_FALSE(FD_ISSET(p.fds[1], &set.readPool.bits));
    KivWaitSetRemove(&set, &eLow);
    EXPECT_EQ(set.readPool.highest, -1);
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
}

TEST_F(KivWaitSetTest, EmptyingTakesEveryEntryOutOfEveryPool) {
    Pipe p;
    KivPosixFdWait read, write;
    KivPosixFdWaitInit(&read, KIV_WAIT_FD_READ, p.fds[0]);
    KivPosixFdWaitInit(&write, KIV_WAIT_FD_WRITE, p.fds[1]);
    KivTimer timer;
    KivFastEvent event;
    KivFastEventInit(&event);
    KivWaitSetEntry e[4];
    KivWaitSetAdd(&set, &read, &e[0]);
    KivWaitSetAdd(&set, &write, &e[1]);
    AddTimer(timer, e[2], 0);
    KivWaitSetAdd(&set, &event, &e[3]);
    EXPECT_EQ(KivWaitSetGetSize(&set), 4u);
    EXPECT_EQ(KivWaitSetEmpty(&set), KIV_OK);
    EXPECT_EQ(KivWaitSetGetSize(&set), 0u);
    for (const KivWaitSetEntry& entry : e)
        EXPECT_EQ(entry.pool, nullptr);
    EXPECT_EQ(set.writePool.highest, -1);
    EXPECT_EQ(KivWaitSetRemove(&set, &e[0]), KIV_FAILED);
    EXPECT_TRUE(Wait().empty());
}

TEST_F(KivWaitSetTest, TwoEntriesOnOneDescriptorKeepItsBitWhileOneIsActive) {
    Pipe p;
    KivPosixFdWait wait;
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, p.fds[0]);
    KivWaitSetEntry first, second;
    KivWaitSetAdd(&set, &wait, &first);
    KivWaitSetAdd(&set, &wait, &second);
    KivWaitSetEntrySuspend(&first);
    EXPECT_TRUE(FD_ISSET(p.fds[0], &set.readPool.bits));
    KivWaitSetEntrySuspend(&second);
    EXPECT_FALSE(FD_ISSET(p.fds[0], &set.readPool.bits));
}

using KivWaitSetDeathTest = KivWaitSetTest;

TEST_F(KivWaitSetDeathTest, DescriptorOf1024Aborts) {
    KivPosixFdWait wait;
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_READ, 1024);
    KivWaitSetEntry entry;
    EXPECT_DEATH(KivWaitSetAdd(&set, &wait, &entry), "pool: Assertion `fd < 1024' failed");
    KivPosixFdWaitInit(&wait, KIV_WAIT_FD_EXCEPT, 1023);
    EXPECT_EQ(KivWaitSetAdd(&set, &wait, &entry), KIV_OK);
}

} // namespace
