// ZrRandom: random numbers from the kernel's generator (getrandom, then /dev/urandom). If neither
// answers, a time- and process-seeded generator fills in, so callers always get a value.
#pragma once

#include <cstddef>
#include <cstdint>

class ZrRandom {
public:
    // A uniformly distributed 32-bit value.
    static uint32_t RndNum();
    // A uniformly distributed value in [0, bound); 0 when `bound` is 0 or 1.
    static uint32_t RndNum(uint32_t bound);
    // Fills `count` bytes (challenges, test data).
    static void RndBytes(void* out, size_t count);
};
