#include "framework/dispatch/dispatch.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/exception/exception.h"
#include "framework/waitable/event.h"

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

namespace {

// A readable pipe end as a waitable; readable for as long as its byte is not drained.
class PipeWaitable : public waitable::IWaitable {
public:
    PipeWaitable() {
        EXPECT_EQ(pipe(m_fds), 0);
        EXPECT_EQ(KivPosixFdWaitInit(&m_wait, KIV_WAIT_FD_READ, m_fds[0]), KIV_OK);
    }
    ~PipeWaitable() override {
        close(m_fds[0]);
        close(m_fds[1]);
    }
    void Put() { ASSERT_EQ(write(m_fds[1], "x", 1), 1); }
    void Drain() {
        char c;
        ASSERT_EQ(read(m_fds[0], &c, 1), 1);
    }
    _KivPosixWait* GetWaitObject() override { return &m_wait; }

private:
    int m_fds[2];
    KivPosixFdWait m_wait;
};

class DispatcherTest : public ::testing::Test {
protected:
    // Declared first: the waitables must outlive the registrations the dispatcher still holds.
    PipeWaitable a, b;
    dispatch::QExecutorDispatcher dispatcher;
    std::vector<std::string> log;
    Watchdog watchdog;
};

TEST_F(DispatcherTest, LoopRunsMainFirstThenDispatchesUntilNothingIsLeft) {
    int calls = 0;
    dispatch::Loop([&] {
        log.push_back("main");
        EXPECT_NE(dispatch::DispatcherBase::Get(), nullptr);
        a.Put();
        dispatch::Dispatch(a, [&] {
            log.push_back("a");
            a.Drain();
            if (++calls == 1)
                a.Put();
            else
                dispatch::Undispatch(a);
        });
    });
    EXPECT_EQ(log, std::vector<std::string>({"main", "a", "a"}));
    EXPECT_EQ(dispatch::DispatcherBase::Get(), nullptr);
}

// A one-shot registration fires once and is gone; a persistent one is suspended while its callback
// runs and stays.
TEST_F(DispatcherTest, OneShotIsGoneAfterItsCallAndPersistentIsSuspendedDuringIt) {
    b.Put();
    int oneShot = 0;
    dispatcher.RunInContext([&](uint32_t) {
        dispatch::Dispatch(b, [&] { ++oneShot; }, 1);
        dispatcher.DispatchOnce();
    });
    EXPECT_EQ(oneShot, 1);
    EXPECT_EQ(dispatcher.Count(), 0u);

    a.Put(); // never drained: always readable
    int calls = 0;
    dispatch::DispatcherBase::Entry* entry = nullptr;
    entry = dispatcher.AddWaitable(a, [&] {
        ++calls;
        EXPECT_TRUE(entry->suspended);
        EXPECT_EQ(entry->refCount, 2);
    });
    dispatcher.DispatchOnce();
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(entry->suspended);
    EXPECT_EQ(entry->refCount, 1);
    dispatcher.DispatchOnce();
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(dispatcher.Count(), 1u);
    EXPECT_EQ(oneShot, 1);
}

TEST_F(DispatcherTest, CallbacksRunInTheOrderFoundAfterTheWholeSetIsCollected) {
    KivTimer timer;
    EXPECT_EQ(KivTimerInit(&timer), KIV_OK);
    EXPECT_EQ(KivTimerSetExpiry(&timer, 0), KIV_OK);
    a.Put();
    b.Put();
    dispatcher.AddWaitable(b, [&] { log.push_back("b"); });
    dispatcher.AddWaitable(a, [&] { log.push_back("a"); });
    dispatcher.AddWait(&timer, [&] { log.push_back("timer"); });
    dispatcher.DispatchOnce();
    // Timers are collected before descriptors; descriptors in registration order.
    EXPECT_EQ(log, std::vector<std::string>({"timer", "b", "a"}));
}

// A callback removes a registration found in the same step (which is then not called) and its own; an
// unknown kind of wait is refused with its status and leaves nothing behind.
TEST_F(DispatcherTest, RegistrationsGoWhenRemovedAndUnknownKindsNeverCome) {
    a.Put();
    b.Put();
    dispatch::DispatcherBase::Entry* second = nullptr;
    dispatcher.AddWaitable(a, [&] {
        log.push_back("a");
        dispatcher.Remove(second);
        dispatcher.RemoveWaitable(a);
    });
    second = dispatcher.AddWaitable(b, [&] { log.push_back("b"); });
    dispatcher.DispatchOnce();
    dispatcher.DispatchOnce();
    EXPECT_EQ(log, std::vector<std::string>({"a"}));
    EXPECT_EQ(dispatcher.Count(), 0u);
    _KivPosixWait odd;
    odd.kind = 9;
    try {
        dispatcher.AddWait(&odd, [] {});
        FAIL() << "an unknown kind is added";
    } catch (const exception::RCException& e) {
        EXPECT_EQ(e.Code(), KIV_BAD_KIND);
    }
    EXPECT_EQ(dispatcher.Count(), 0u);
}

// A call queued for a registration removed before the queue drains is dropped; one still queued when
// its dispatcher goes is released with it (the sanitizer build catches a leak or a double free).
TEST_F(DispatcherTest, QueuedCallsOfRemovedRegistrationsOrGoneDispatchersAreDropped) {
    a.Put();
    auto* entry = dispatcher.AddWaitable(a, [&] { log.push_back("a"); });
    dispatcher.DispatcherBase::DispatchIteration(); // the base iteration only queues the call
    EXPECT_EQ(entry->refCount, 2);
    dispatcher.Remove(entry);
    dispatcher.OnStartInstance(); // drains
    {
        dispatch::QExecutorDispatcher other;
        other.AddWaitable(a, [&] { log.push_back("other"); });
        other.DispatcherBase::DispatchIteration();
    }
    EXPECT_TRUE(log.empty());
}

// Init and terminate run around the outermost run only; an exit in a nested run ends only that run.
TEST_F(DispatcherTest, InitTerminateAndExitBelongToTheirOwnLevel) {
    dispatcher.SetInit([&] { log.push_back("init"); });
    dispatcher.SetTerminate([&] { log.push_back("terminate"); });
    a.Put();
    dispatcher.AddWaitable(a, [&] {
        log.push_back("a");
        if (log.size() > 2)
            return dispatcher.Exit();
        dispatcher.RunInContext([&](uint32_t level) {
            EXPECT_EQ(level, 2u);
            EXPECT_EQ(dispatch::DispatcherBase::Get(), &dispatcher);
            dispatcher.Exit();
        });
        EXPECT_EQ(dispatcher.Depth(), 1u);
    });
    dispatcher.Dispatch();
    EXPECT_EQ(log, std::vector<std::string>({"init", "a", "a", "terminate"}));
    EXPECT_EQ(dispatcher.Depth(), 0u);
    EXPECT_EQ(dispatch::DispatcherBase::Get(), nullptr);
    dispatcher.UnsetInit();
    dispatcher.UnsetTerminate();
    dispatcher.RunInContext([](uint32_t) {});
    EXPECT_EQ(log.size(), 4u);
}

// A function queued during a drain runs in it only if it was queued before the last one of the drain.
TEST(QExecutorTest, FunctionsQueuedDuringADrainRunInItOnlyBeforeItsLast) {
    util::QExecutor executor;
    std::vector<std::string> log;
    executor.Execute([&] {
        log.push_back("first");
        executor.Execute([&] {
            log.push_back("queued by first");
            executor.Execute([&] { log.push_back("queued by the last"); });
        });
    });
    executor.Execute([&] { log.push_back("second"); });
    executor.Drain();
    EXPECT_EQ(log, std::vector<std::string>({"first", "second", "queued by first"}));
    executor.Drain();
    EXPECT_EQ(log.back(), "queued by the last");
    EXPECT_TRUE(executor.Empty());
}

} // namespace
