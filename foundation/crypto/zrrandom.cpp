#include "foundation/crypto/zrrandom.h"

#include <fcntl.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

bool FromKernel(unsigned char* out, size_t count) {
    while (count != 0) {
        ssize_t got = getrandom(out, count, 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        out += got;
        count -= static_cast<size_t>(got);
    }
    if (count == 0)
        return true;
    int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    while (count != 0) {
        ssize_t got = read(fd, out, count);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        out += got;
        count -= static_cast<size_t>(got);
    }
    close(fd);
    return count == 0;
}

// Last resort when the kernel gives nothing: xorshift64* seeded from the clock and the process id.
void FromFallback(unsigned char* out, size_t count) {
    static uint64_t state = 0;
    if (state == 0) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        state = (static_cast<uint64_t>(now.tv_sec) << 32) ^ static_cast<uint64_t>(now.tv_nsec) ^
                (static_cast<uint64_t>(getpid()) << 16) ^ 0x9E3779B97F4A7C15ull;
    }
    for (size_t i = 0; i < count; ++i) {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        out[i] = static_cast<unsigned char>((state * 0x2545F4914F6CDD1Dull) >> 56);
    }
}

} // namespace

void ZrRandom::RndBytes(void* out, size_t count) {
    auto* bytes = static_cast<unsigned char*>(out);
    if (count != 0 && !FromKernel(bytes, count))
        FromFallback(bytes, count);
}

uint32_t ZrRandom::RndNum() {
    uint32_t value = 0;
    RndBytes(&value, sizeof(value));
    return value;
}

uint32_t ZrRandom::RndNum(uint32_t bound) {
    if (bound <= 1)
        return 0;
    // Reject the values above the largest multiple of `bound` so every remainder is equally likely.
    const uint32_t limit = UINT32_MAX - UINT32_MAX % bound;
    uint32_t value;
    do {
        value = RndNum();
    } while (value >= limit);
    return value % bound;
}
