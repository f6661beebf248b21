// The replacement forms used when a conversion is told to recover instead of failing.
#pragma once

#include "foundation/codeset/zrconverter.h"

namespace zr_codeset {

// A unit that the target encoding cannot hold is written as the ASCII text "\uXXXX" (upper-case hex).
void AppendEscape(ZrByteBuffer& out, ZrUniChar unit);

// A byte sequence that does not decode becomes U+FFFD, one per offending byte.
constexpr ZrUniChar kReplacementChar = 0xFFFD;

} // namespace zr_codeset
