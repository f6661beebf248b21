#include "framework/platform/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// A folder holding a file, and a link folder holding a file of its own.
struct Scratch {
    std::string root, links;
    Scratch() {
        char name[] = "/tmp/kp-sandbox-XXXXXX";
        root = mkdtemp(name);
        links = root + "/links";
        mkdir(links.c_str(), 0700);
        Touch(root + "/outside");
        Touch(links + "/inside");
    }
    ~Scratch() { EXPECT_EQ(std::system(("rm -rf " + root).c_str()), 0); }
    static void Touch(const std::string& path) { close(open(path.c_str(), O_CREAT | O_WRONLY, 0600)); }
};

// Runs `body` in a child process and returns what it wrote to the pipe, and how it ended.
template <typename Body> std::pair<std::string, int> InChild(Body body) {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        std::string out = body();
        (void)!write(fds[1], out.data(), out.size());
        _exit(0);
    }
    close(fds[1]);
    std::string out;
    char chunk[256];
    for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;)
        out.append(chunk, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return {out, status};
}

// A refused call: -1 with this errno.
bool Refused(long result, int error) {
    return result == -1 && errno == error;
}

TEST(Sandbox, RefusesProgramsProcessesAndWritesButKeepsThreadsReadingAndTheLink) {
    Scratch dir;
    auto [report, status] = InChild([&] {
        std::string failed;
        auto check = [&](const char* what, bool ok) {
            if (!ok)
                failed += std::string(what) + "\n";
        };
        platform::Confinement done = platform::Confine((dir.links + "/My Drives").c_str());
        failed = done.fileSystem ? "+" : "-";
        check("filter", done.filter);

        char* argv[] = {const_cast<char*>("true"), nullptr};
        check("execve", Refused(execve("/bin/true", argv, environ), EPERM));
        check("fork", Refused(fork(), EPERM));
        bool threadRan = false;
        std::thread([&] { threadRan = true; }).join();
        check("thread", threadRan);

        const std::string link = dir.links + "/My Drives";
        if (done.fileSystem) {
            check("create outside",
                  Refused(open((dir.root + "/new").c_str(), O_CREAT | O_WRONLY, 0600), EACCES));
            check("write outside", Refused(open((dir.root + "/outside").c_str(), O_WRONLY), EACCES));
            check("write inside", Refused(open((dir.links + "/inside").c_str(), O_WRONLY), EACCES));
            check("file inside",
                  Refused(open((dir.links + "/new").c_str(), O_CREAT | O_WRONLY, 0600), EACCES));
            check("link outside", Refused(symlink("/srv", (dir.root + "/link").c_str()), EACCES));
            check("remove outside", Refused(unlink((dir.root + "/outside").c_str()), EACCES));
        }
        int readable = open((dir.root + "/outside").c_str(), O_RDONLY);
        check("read", readable >= 0);
        close(readable);
        check("make link", symlink("/srv/mnt/user/pc1", link.c_str()) == 0);
        check("remove link", unlink(link.c_str()) == 0);
        return failed;
    });
    ASSERT_TRUE(WIFEXITED(status) && !report.empty()) << status;
    if (report[0] == '-')
        GTEST_LOG_(INFO) << "the kernel offers no file-system rules: only the filter was checked";
    EXPECT_EQ(report.substr(1), "");
}

#if defined(__x86_64__)
// The 32-bit and x32 conventions reach other system calls under the same numbers: the process ends.
TEST(Sandbox, KillsForeignSystemCallConventions) {
    for (bool x32 : {false, true}) {
        auto [report, status] = InChild([&] {
            (void)platform::Confine("/nonexistent/link");
            long result = 0;
            if (x32)
                result = syscall(0x40000000L | SYS_getpid);
            else
                asm volatile("int $0x80"
                             : "=a"(result)
                             : "a"(20L)
                             : "r8", "r9", "r10", "r11", "memory"); // getpid in the 32-bit table
            return std::to_string(result);
        });
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS)
            << (x32 ? "x32: " : "i386: ") << report;
    }
}
#endif

} // namespace
