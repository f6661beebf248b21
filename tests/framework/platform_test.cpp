#include "framework/dispatch/dispatch.h"
#include "framework/platform/currentprocess.h"
#include "framework/platform/dispatcher.h"
#include "framework/platform/socket.h"

#include "tests/framework/watchdog.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <sys/socket.h>
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

// A step with nothing ready ends at its time-out with -1; a readable socket calls its notify and the
// step returns the count. Only sockets with a target are watched, and a destroyed socket leaves.
TEST(PlatformDispatcherTest, StepReturnsMinusOneAtItsTimeOutOrTheCountOfReadySockets) {
    Watchdog watchdog;
    SocketPair pair;
    RecordingNotify notify;
    dispatch::Loop([&] {
        platform::Dispatcher dispatcher;
        platform::Socket socket(pair.fds[0]);
        dispatcher.Add(socket);
        EXPECT_EQ(dispatcher.Count(), 0);
        socket.SetNotify(&notify);
        EXPECT_EQ(dispatcher.Count(), 1);
        const platform::Time start = platform::Time::Now();
        const common::Duration shortWait = common::Duration::FromMilliseconds(40);
        EXPECT_EQ(dispatcher.Dispatch(&shortWait), -1);
        EXPECT_GE((platform::Time::Now() - start).TotalMicroseconds(), 39000);
        EXPECT_EQ(platform::Dispatcher::Get(), &dispatcher);
        EXPECT_EQ(dispatcher.Count(), 1) << "the time-out's timer has gone again";

        ASSERT_EQ(write(pair.fds[1], "hello", 5), 5);
        const common::Duration timeout(5, 0);
        EXPECT_EQ(dispatcher.Dispatch(&timeout), 1);
        EXPECT_TRUE(dispatcher.IsSignalled());
        socket.SetNotify(nullptr);
        EXPECT_EQ(dispatcher.Count(), 0);
        EXPECT_EQ(dispatcher.Dispatch(), 0) << "nothing registered: the step ends the run at once";
        {
            platform::Socket other(pair.fds[1]);
            other.SetNotify(&notify);
            dispatcher.Add(other);
            EXPECT_EQ(dispatcher.Count(), 1);
        }
        EXPECT_EQ(dispatcher.Count(), 0);
    });
    EXPECT_EQ(notify.received, "hello");
}

// A signal recorded outside the wait is taken by the next wait, which returns at once; those pending
// when the recording ends belong to the ending under way: the first one's request stands.
TEST(CurrentProcessTest, RecordedSignalsAreSeenByTheNextWaitAndTheFirstStands) {
    Watchdog watchdog;
    SocketPair pair;
    RecordingNotify notify;
    dispatch::Loop([&] {
        platform::Dispatcher dispatcher;
        platform::Socket socket(pair.fds[0]);
        socket.SetNotify(&notify);
        dispatcher.Add(socket);
        platform::CurrentProcess::RecordSignals();
        raise(SIGTERM);
        EXPECT_EQ(dispatcher.ExitRequest(), 0) << "blocked until the wait";
        EXPECT_EQ(dispatcher.Dispatch(), 1);
        EXPECT_EQ(dispatcher.ExitRequest(), 143);
        raise(SIGINT);
        EXPECT_EQ(platform::CurrentProcess::EndOnSignal(), 143);
        dispatcher.RequestExit(0);
    });
}

// One handler, installed without restart, serves the three termination signals (each ends the process
// with 128 plus its number, which the end-to-end suite checks); SIGPIPE is ignored; the handlers found
// before are put back.
TEST(CurrentProcessTest, InstallsHandlersIgnoresPipeAndPutsTheOldOnesBack) {
    const int signals[] = {SIGHUP, SIGINT, SIGTERM, SIGPIPE};
    struct sigaction now;
    for (int signal : signals)
        std::signal(signal, SIG_DFL);
    {
        platform::CurrentProcess process;
        struct sigaction term;
        sigaction(SIGTERM, nullptr, &term);
        EXPECT_NE(term.sa_handler, SIG_DFL);
        for (int signal : signals) {
            sigaction(signal, nullptr, &now);
            EXPECT_EQ(now.sa_handler, signal == SIGPIPE ? SIG_IGN : term.sa_handler) << signal;
            EXPECT_EQ(now.sa_flags & SA_RESTART, 0) << signal;
        }
    }
    for (int signal : signals) {
        sigaction(signal, nullptr, &now);
        EXPECT_EQ(now.sa_handler, SIG_DFL) << signal;
    }
    // The process-wide object that dispatchers rely on is installed again.
    platform::CurrentProcess::Instance().RemoveSignalHandlers();
    platform::CurrentProcess::Instance().InstallSignalHandlers();
}

} // namespace
