// The agent's entry sequence: argument checks, the option scan and the start-up steps. Usage errors
// write one message and the usage line to standard error and end the process with exit code 1.
#pragma once

#include "foundation/string/zrunistring.h"

void Main(int argc, char** argv, int& exitCode);

void ErrNoArgs();
void ErrBadCommand(const ZrUniString& argument);
void ErrWrongNumber(unsigned int count);
[[noreturn]] void ExitUsage();

// The options that follow the display name; later occurrences override earlier ones.
struct CommandLineOptions {
    ZrUniString configFile;
};

// Scans argv from index 0 (the program name included). "--servercfg"/"-servercfg" take the next
// argument as the configuration path when it is present and non-empty; "--delay" sleeps at once for
// the next argument's leading decimal number when that is greater than 0.
CommandLineOptions ScanOptions(int argc, char** argv, const ZrUniString& defaultConfigFile);
