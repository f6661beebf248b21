// The agent's command line: the usage messages and the scan of the options after the display name.
// Usage errors write one message and the usage line to standard error and end the process with
// kExitUsage.
#pragma once

#include "foundation/string/zrunistring.h"

void ErrNoArgs();
void ErrBadCommand(const ZrUniString& argument);
void ErrWrongNumber(unsigned int count);
[[noreturn]] void ExitUsage();

// Ends through ErrNoArgs and ExitUsage when there is no argument at all.
void CheckHasArguments(int argc);
// Ends through ExitUsage unless the first argument is "--dmpdisplay" (checked first) and there are
// 2, 4 or 6 arguments. Needs at least one argument.
void CheckDisplayArguments(int argc, char** argv);

// The options that follow the display name; later occurrences override earlier ones.
struct CommandLineOptions {
    ZrUniString configFile;
};

// Scans argv from index 0 (the program name included). "--servercfg"/"-servercfg" take the next
// argument as the configuration path when it is present and non-empty; "--delay" sleeps at once for
// the next argument's leading decimal number when that is greater than 0.
CommandLineOptions ScanOptions(int argc, char** argv, const ZrUniString& defaultConfigFile);
