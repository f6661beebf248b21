#include "foundation/codeset/simd/vector_switch.h"

namespace zr_codeset::simd {

bool Supported() {
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
#else
    return false;
#endif
}

bool g_enabled = Supported();

bool SetEnabled(bool on) {
    g_enabled = on && Supported();
    return g_enabled;
}

} // namespace zr_codeset::simd
