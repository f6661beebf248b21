#include "framework/kiv/kivassert.h"

#include <cstdio>
#include <cstdlib>

void KivAssertFailed(const char* expression, const char* source) {
    std::fprintf(stderr, "%s: Assertion `%s' failed.\n", source, expression);
    std::fflush(stderr);
    std::abort();
}
