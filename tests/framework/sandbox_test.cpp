#include "framework/platform/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// Runs `body` in a child process: what it returned (a few words, which the pipe holds), and how it ended.
template <typename Body> std::pair<std::string, int> InChild(Body body) {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    pid_t pid = fork();
    if (pid == 0) {
        std::string out = [&]() noexcept { return body(); }(); // whatever throws ends the child
        _exit(write(fds[1], out.data(), out.size()) == static_cast<ssize_t>(out.size()) ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    close(fds[1]);
    char text[4096];
    ssize_t n = read(fds[0], text, sizeof text);
    close(fds[0]);
    return {std::string(text, static_cast<size_t>(n > 0 ? n : 0)), status};
}

TEST(Sandbox, RefusesProgramsProcessesAndWritesButKeepsThreadsReadingAndTheLink) {
    if (getenv("KPATDMCL_EMULATOR"))
        GTEST_SKIP() << "under the emulator, which refuses seccomp filters and Landlock rule sets";
    char name[] = "/tmp/kp-sandbox-XXXXXX";
    const std::string root = mkdtemp(name), links = root + "/links", link = links + "/My Drives";
    const std::string outside = root + "/outside", inside = links + "/inside";
    std::filesystem::create_directory(links);
    std::ofstream(outside) << "x", std::ofstream(inside) << "x";
    auto [report, status] = InChild([&] {
        auto Refused = [](long result, int error) { return result == -1 && errno == error; };
        const platform::Confinement done = platform::Confine(link.c_str());
        char* argv[] = {const_cast<char*>("true"), nullptr};
        const bool rules = done.fileSystem; // without them, the writes simply succeed
        const std::pair<const char*, bool> checks[] = {
            {"filter", done.filter},
            {"rules", rules == (syscall(SYS_landlock_create_ruleset, nullptr, 0, 1) >= 1)}, // as offered
            {"execve", Refused(execve("/bin/true", argv, environ), EPERM)},
            {"fork", Refused(fork(), EPERM)},
            {"thread", (std::thread([] {}).join(), true)}, // a refused thread throws
            {"read", open(outside.c_str(), O_RDONLY) >= 0},
            {"write", Refused(open(outside.c_str(), O_WRONLY), EACCES) == rules},
            {"write in", Refused(open(inside.c_str(), O_WRONLY), EACCES) == rules},
            {"create in", Refused(open((links + "/new").c_str(), O_CREAT | O_RDONLY, 0600), EACCES) == rules},
            {"symlink", Refused(symlink("/srv", (root + "/link").c_str()), EACCES) == rules},
            {"unlink", Refused(unlink(outside.c_str()), EACCES) == rules},
            {"symlink in", symlink("/srv/mnt/user/pc1", link.c_str()) == 0},
            {"unlink in", unlink(link.c_str()) == 0}};
        std::string failed;
        for (const auto& [what, ok] : checks)
            failed += ok ? "" : std::string(what) + "; ";
        return failed;
    });
    std::filesystem::remove_all(root);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(report, "");
}

#if defined(__x86_64__)
// A 32-bit system call, numbered differently, ends the process.
TEST(Sandbox, KillsForeignSystemCallConvention) {
    int status = InChild([] {
                     long nr = 20; // getpid in the 32-bit table
                     (void)platform::Confine("/nonexistent/link");
                     asm volatile("int $0x80" : "+a"(nr) : : "r8", "r9", "r10", "r11", "memory");
                     return std::to_string(nr);
                 }).second;
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
}
#endif

} // namespace
