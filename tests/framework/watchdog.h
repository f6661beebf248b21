// Test guard for anything that waits: if the guarded scope has not ended after `seconds`, SIGALRM
// (default action) kills the test binary instead of letting it hang.
#pragma once

#include <unistd.h>

class Watchdog {
public:
    explicit Watchdog(unsigned seconds = 10) { alarm(seconds); }
    ~Watchdog() { alarm(0); }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
};
