// How the manager ends the process: a display without the extension (a real X server, Xvfb), an
// unopenable display, and a connection that Xlib finds broken. Each ending runs in a forked child
// whose standard output and error are captured.
#include "dmp/dmpmanager.h"

#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/platform/dispatcher.h"
#include "tests/common/x11/testdisplayserver.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using kptest::TestDisplayServer;

class NullNotify : public IDMPEnumNotify {
public:
    void OnAddDevice(ZrUniString, ZrUniString, ZrUniString, ZrUniString) override {}
    void OnRemoveDevice(ZrUniString, ZrUniString, ZrUniString, ZrUniString) override {}
};

// Runs `body` inside a dispatcher with a manager, in a child process; returns its wait status and
// what it wrote to standard output.
int RunChild(const std::function<void(DMPManager&)>& body, std::string& output) {
    int out[2];
    if (pipe(out) != 0)
        return -1;
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        close(out[0]);
        close(out[1]);
        dispatch::QExecutorDispatcher base;
        base.RunInContext([&](uint32_t) {
            platform::Dispatcher dispatcher;
            NullNotify controller;
            DMPManager manager(dispatcher, controller);
            body(manager);
        });
        std::fflush(nullptr);
        _exit(0);
    }
    close(out[1]);
    char chunk[512];
    ssize_t n;
    while ((n = read(out[0], chunk, sizeof(chunk))) > 0)
        output.append(chunk, static_cast<size_t>(n));
    close(out[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    // A sanitizer build may add its own "==pid==" report lines about the forked child; they are not
    // the program's output.
    std::string kept;
    size_t start = 0;
    while (start < output.size()) {
        size_t end = output.find('\n', start);
        end = end == std::string::npos ? output.size() : end + 1;
        if (output.compare(start, 2, "==") != 0)
            kept.append(output, start, end - start);
        start = end;
    }
    output = kept;
    return status;
}

// A real X server that does not offer the extension.
class Xvfb {
public:
    Xvfb() {
        int fds[2];
        if (pipe(fds) != 0)
            return;
        m_pid = fork();
        if (m_pid == 0) {
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            const int devnull = open("/dev/null", O_WRONLY);
            dup2(devnull, 2);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-nolisten", "tcp", "-screen", "0", "320x200x24",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        std::string number;
        char c;
        while (read(fds[0], &c, 1) == 1 && c != '\n')
            number += c;
        close(fds[0]);
        if (!number.empty())
            m_display = ":" + number;
    }
    ~Xvfb() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
    }
    const std::string& Display() const { return m_display; }

private:
    pid_t m_pid = -1;
    std::string m_display;
};

TEST(DMPManagerExit, DisplayWithoutTheExtensionEndsWithStatusFive) {
    Watchdog watchdog(60);
    Xvfb server;
    ASSERT_FALSE(server.Display().empty()) << "Xvfb did not start";
    std::string output;
    const int status = RunChild(
        [&](DMPManager& manager) {
            manager.AddDisplay(server.Display().c_str());
            std::printf("AddDisplay returned\n");
        },
        output);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 5);
    EXPECT_EQ(output, "Cannot init DMP extension\n");
}

TEST(DMPManagerExit, UnopenableDisplayIsRefusedWithoutRegistering) {
    dispatch::QExecutorDispatcher base;
    base.RunInContext([&](uint32_t) {
        platform::Dispatcher dispatcher;
        NullNotify controller;
        DMPManager manager(dispatcher, controller);
        EXPECT_FALSE(manager.AddDisplay(":1999"));
        EXPECT_FALSE(manager.AddDisplay("/nonexistent/socket:0"));
        EXPECT_TRUE(manager.Displays().empty());
        EXPECT_EQ(manager.ActiveDisplay(), nullptr);
        EXPECT_EQ(base.Count(), 0u);
    });
}

TEST(DMPManagerExit, FatalErrorRunsTheCleanUpAndReturnsZero) {
    int runs = 0;
    DMPManager::SetCleanUp([&] { ++runs; });
    EXPECT_EQ(DMPManager::FatalError(nullptr), 0);
    EXPECT_EQ(runs, 1);
    DMPManager::SetCleanUp(nullptr);
    EXPECT_EQ(DMPManager::FatalError(nullptr), 0);
    EXPECT_EQ(runs, 1);
}

// The active display's server goes away and the main loop's Process reads first: Xlib calls the
// I/O-error handler, which cleans up, and then ends the process itself.
TEST(DMPManagerExit, BrokenConnectionSeenByXlibCleansUpAndEnds) {
    Watchdog watchdog(60);
    TestDisplayServer server;
    ASSERT_TRUE(server.Ok());
    std::string output;
    const int status = RunChild(
        [&](DMPManager& manager) {
            DMPManager::SetCleanUp([] {
                std::printf("clean-up ran\n");
                std::fflush(stdout);
            });
            if (!manager.AddDisplay(server.Display().c_str()))
                _exit(3);
            server.Must("wait_init");
            server.Must("close_client");
            server.Must("wait_closed");
            for (;;) {
                manager.Process();
                usleep(10000);
            }
        },
        output);
    ASSERT_TRUE(WIFEXITED(status)) << output;
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_NE(output.find("clean-up ran\n"), std::string::npos) << output;
}

} // namespace
