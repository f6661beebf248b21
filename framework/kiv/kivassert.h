// Programmer-error checks of the framework: a failed check prints its expression and the source
// that made it on standard error and aborts the process. Outside input never reaches one.
#pragma once

[[noreturn]] void KivAssertFailed(const char* expression, const char* source);

#define KIV_ASSERT(expression, source)                                                                       \
    do {                                                                                                     \
        if (!(expression))                                                                                   \
            KivAssertFailed(#expression, source);                                                            \
    } while (0)
