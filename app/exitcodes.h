// The agent's process exit codes, in one place. Every exit of the agent uses one of these; the two
// that lower layers raise themselves (a display the DMP layer cannot serve, a termination signal
// seen by the dispatcher) are defined there and only named again here.
#pragma once

#include "dmp/dmpexitcode.h"
#include "framework/platform/currentprocess.h"

enum ExitCode : int {
    kExitNormal = 0, // also when the file server refuses the display registration
    kExitUsage = 1,
    kExitServerUnresolved = 2,
    // Current user unknown, configuration unreadable or invalid, bad port or time-out, no connection.
    kExitBadSetup = 3,
    kExitCommandRefused = 4, // a clean-up step was refused or failed: configuration left behind
    kExitNoDisplay = kExitDisplayUnavailable,     // cannot be opened or lacks the extension
    kExitAfterSignal = platform::kExitSignalBase, // plus the signal's number
};
