#include "framework/dispatch/dispatch.h"
#include "framework/platform/currentprocess.h"
#include "framework/platform/dispatcher.h"
#include "framework/platform/socket.h"
#include "framework/platform/timer.h"

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

struct SocketPair {
    int fds[2];
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0); }
    ~SocketPair() {
        close(fds[0]);
        close(fds[1]);
    }
};

class RecordingNotify : public platform::IInputStreamNotify {
public:
    void OnReadable(stream::IInputStream& stream) override {
        char bytes[16] = {};
        buffer::VarBuffer target(bytes, sizeof bytes);
        stream.Read(target);
        received.append(bytes, target.Fill());
    }
    std::string received;
};

TEST(PlatformDispatcherTest, TimeoutWithNothingReadyReturnsMinusOne) {
    Watchdog watchdog;
    SocketPair pair;
    int32_t result = 0;
    int64_t elapsedMs = 0;
    dispatch::Loop([&] {
        platform::Dispatcher dispatcher;
        RecordingNotify notify;
        platform::Socket socket(pair.fds[0]);
        socket.SetNotify(&notify);
        dispatcher.Add(socket);
        const platform::Time start = platform::Time::Now();
        const common::Duration timeout = common::Duration::FromMilliseconds(40);
        result = dispatcher.Dispatch(&timeout);
        elapsedMs = (platform::Time::Now() - start).TotalMicroseconds() / 1000;
        EXPECT_EQ(platform::Dispatcher::Get(), &dispatcher);
        // The timer has gone again; only the socket is left.
        EXPECT_EQ(dispatcher.Count(), 1);
    });
    EXPECT_EQ(result, -1);
    EXPECT_GE(elapsedMs, 39);
}

TEST(PlatformDispatcherTest, ReadableSocketCallsItsNotifyAndTheStepReturnsTheCount) {
    Watchdog watchdog;
    SocketPair pair;
    RecordingNotify notify;
    dispatch::Loop([&] {
        platform::Dispatcher dispatcher;
        platform::Socket socket(pair.fds[0]);
        dispatcher.Add(socket);
        EXPECT_EQ(dispatcher.Count(), 0); // not active yet: no target
        socket.SetNotify(&notify);
        EXPECT_EQ(dispatcher.Count(), 1);
        ASSERT_EQ(write(pair.fds[1], "hello", 5), 5);
        const common::Duration timeout(5, 0);
        EXPECT_EQ(dispatcher.Dispatch(&timeout), 1);
        EXPECT_TRUE(dispatcher.IsSignalled());
        socket.SetNotify(nullptr);
        EXPECT_EQ(dispatcher.Count(), 0);
        // Nothing registered: the step ends the run at once and reports none.
        EXPECT_EQ(dispatcher.Dispatch(), 0);
        {
            platform::Socket other(pair.fds[1]);
            other.SetNotify(&notify);
            dispatcher.Add(other);
            EXPECT_EQ(dispatcher.Count(), 1);
        }
        EXPECT_EQ(dispatcher.Count(), 0) << "a destroyed socket leaves the dispatcher";
    });
    EXPECT_EQ(notify.received, "hello");
}

TEST(PlatformDispatcherTest, SocketOverANonSocketDescriptorThrows) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    EXPECT_THROW(platform::Socket socket(fds[0]), network::Exception);
    close(fds[0]);
    close(fds[1]);
}

// Sends `signal` to this process from a helper child after a short delay, while the parent waits.
void WaitForSignal(int signal) {
    SocketPair pair;
    RecordingNotify notify;
    dispatch::Loop([&] {
        platform::Dispatcher dispatcher;
        platform::Socket socket(pair.fds[0]);
        socket.SetNotify(&notify);
        dispatcher.Add(socket);
        const pid_t parent = getpid();
        if (fork() == 0) {
            usleep(50000);
            kill(parent, signal);
            _exit(0);
        }
        alarm(5);
        while (dispatcher.Dispatch() > 0) {
        }
    });
    std::exit(99); // the step must have ended the process
}

TEST(PlatformDispatcherDeathTest, TerminationSignalsExitWith128PlusTheirNumber) {
    const struct {
        int signal;
        int status;
    } rows[] = {{SIGTERM, 143}, {SIGINT, 130}, {SIGHUP, 129}};
    for (const auto& row : rows)
        EXPECT_EXIT(WaitForSignal(row.signal), ::testing::ExitedWithCode(row.status), "") << row.signal;
}

bool SameAction(int signal, const struct sigaction& expected) {
    struct sigaction now;
    sigaction(signal, nullptr, &now);
    return now.sa_handler == expected.sa_handler;
}

TEST(CurrentProcessTest, InstallsHandlersIgnoresPipeAndPutsTheOldOnesBack) {
    const int signals[] = {SIGHUP, SIGINT, SIGTERM, SIGPIPE};
    struct sigaction before[4];
    for (int i = 0; i < 4; ++i) {
        struct sigaction custom;
        std::memset(&custom, 0, sizeof custom);
        custom.sa_handler = SIG_DFL;
        sigaction(signals[i], &custom, &before[i]);
        before[i] = custom;
    }
    {
        platform::CurrentProcess process;
        struct sigaction now;
        sigaction(SIGPIPE, nullptr, &now);
        EXPECT_EQ(now.sa_handler, SIG_IGN);
        for (int signal : {SIGHUP, SIGINT, SIGTERM}) {
            sigaction(signal, nullptr, &now);
            EXPECT_NE(now.sa_handler, SIG_DFL);
            EXPECT_EQ(now.sa_flags & SA_RESTART, 0) << signal;
        }
    }
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(SameAction(signals[i], before[i])) << signals[i];
    // The process-wide object that dispatchers rely on is installed again.
    platform::CurrentProcess::Instance().RemoveSignalHandlers();
    platform::CurrentProcess::Instance().InstallSignalHandlers();
}

TEST(TimeTest, ArithmeticKeepsMicrosecondsNormalised) {
    const struct {
        common::Time time;
        common::Duration duration;
        int64_t sumSeconds, sumMicros, differenceSeconds, differenceMicros;
    } rows[] = {
        {common::Time(10, 500000), common::Duration(0, 600000), 11, 100000, 9, 900000},
        {common::Time(0, 0), common::Duration(0, 1), 0, 1, -1, 999999},
        {common::Time(5, 999999), common::Duration(1, 1), 7, 0, 4, 999998},
        {common::Time(3, 0), common::Duration(0, 2500000), 5, 500000, 0, 500000},
    };
    for (const auto& row : rows) {
        const common::Time sum = row.time + row.duration;
        const common::Time difference = row.time - row.duration;
        EXPECT_EQ(sum.Seconds(), row.sumSeconds);
        EXPECT_EQ(sum.Microseconds(), row.sumMicros);
        EXPECT_EQ(difference.Seconds(), row.differenceSeconds);
        EXPECT_EQ(difference.Microseconds(), row.differenceMicros);
        EXPECT_EQ((sum - row.time).TotalMicroseconds(), row.duration.TotalMicroseconds());
        EXPECT_TRUE(row.time <= sum);
        EXPECT_EQ(row.time < sum, row.duration.TotalMicroseconds() != 0);
        EXPECT_FALSE(sum < row.time);
    }
}

TEST(TimeTest, ConvertsToAndFromTimevalAndSetsTimerExpiryInNanoseconds) {
    timeval value{1234, 567890};
    const platform::Time time(value);
    timeval back{};
    time.ToTimeval(back);
    EXPECT_EQ(back.tv_sec, 1234);
    EXPECT_EQ(back.tv_usec, 567890);

    platform::Timer timer;
    timer.Set(time);
    EXPECT_EQ(KivTimerGetExpiry(static_cast<KivTimer*>(timer.GetWaitObject())), 1234567890000ull);
    EXPECT_EQ(timer.Expiry().Microseconds(), 567890);

    const platform::Time later = platform::Time::Now() + common::Duration(100, 0);
    const int64_t until = later.Until().Seconds();
    EXPECT_TRUE(until == 99 || until == 100) << until;
}

} // namespace
