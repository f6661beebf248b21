#include "process_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

std::string AgentPath() {
    return std::string(KP_BINARY_DIR) + "/bin/kpatdmcl";
}

ProcessResult RunProcess(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                         int timeoutSeconds) {
    ProcessResult result;
    int outPipe[2], errPipe[2];
    if (pipe(outPipe) != 0 || pipe(errPipe) != 0)
        return result;
    auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid == 0) {
        dup2(outPipe[1], 1);
        dup2(errPipe[1], 2);
        close(outPipe[0]), close(outPipe[1]), close(errPipe[0]), close(errPipe[1]);
        for (const std::string& e : env)
            putenv(const_cast<char*>(e.c_str()));
        std::vector<char*> args;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    int open = 2;
    auto deadline = start + std::chrono::seconds(timeoutSeconds);
    while (open > 0) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                          std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            kill(pid, SIGKILL); // a hung child fails the test instead of hanging it
            break;
        }
        if (poll(fds, 2, static_cast<int>(left.count())) <= 0)
            continue;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP)))
                continue;
            char chunk[4096];
            ssize_t n = read(fds[i].fd, chunk, sizeof chunk);
            if (n <= 0) {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            } else {
                (i == 0 ? result.out : result.err).append(chunk, n);
            }
        }
    }
    for (pollfd& p : fds)
        if (p.fd >= 0)
            close(p.fd);
    int status = 0;
    waitpid(pid, &status, 0);
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}
