// A dispatcher with one pipe descriptor registered and nothing happening, for watching with strace
// what an idle agent costs. Usage: idle_dispatcher SECONDS. The step is bounded by a platform::Timer
// at SECONDS and the program then exits 0; with 0 it blocks until a signal (SIGTERM exits 143).
#include "framework/dispatch/dispatch.h"
#include "framework/platform/dispatcher.h"
#include "framework/platform/time.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SECONDS\n", argv[0]);
        return 2;
    }
    const long seconds = std::strtol(argv[1], nullptr, 10);
    int fds[2];
    if (pipe(fds) != 0) {
        std::perror("pipe");
        return 1;
    }
    int32_t result = 0;
    dispatch::Loop([&] {
        platform::Dispatcher dispatcher;
        platform::FdWait wait(fds[0]);
        dispatcher.Add(wait);
        wait.SetActive(true);
        if (seconds > 0) {
            // One step: the deadline is the only thing that ends it, as nothing writes the pipe.
            const platform::Time end = platform::Time::Now() + common::Duration(seconds, 0);
            do {
                const common::Duration left = end - platform::Time::Now();
                result = dispatcher.Dispatch(&left);
            } while (result > 0 && platform::Time::Now() < end);
        } else {
            while ((result = dispatcher.Dispatch()) > 0) {
            }
        }
        dispatcher.Remove(wait);
    });
    close(fds[0]);
    close(fds[1]);
    return result == -1 ? 0 : 1;
}
