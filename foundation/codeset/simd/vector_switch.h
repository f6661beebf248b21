// The one switch for the codeset's vector loops (UTF-8 and the table-driven encodings): on when the
// processor has the 512-bit instructions they use, checked once at start-up; tests turn it off to
// compare the vector loops with the character-at-a-time code. Cannot fail.
#pragma once

namespace zr_codeset::simd {

// Whether this processor has what the vector loops use (AVX-512 F/BW/VL/VBMI, BMI2, POPCNT).
bool Supported();

// Set from Supported() during static initialisation. A conversion that runs before that (from another
// file's initialiser) reads false and takes the plain code, which gives the same results.
extern bool g_enabled;

// Whether the vector loops run.
inline bool Enabled() {
    return g_enabled;
}
// Turns the vector loops off, or back on where the processor has them; returns whether they run.
bool SetEnabled(bool on);

} // namespace zr_codeset::simd
