// The process exit status of the DMP layer: a display that cannot be opened or lacks the extension
// gives the agent nothing to serve. The agent's full list of exit codes (app/exitcodes.h) takes this
// value from here, since this layer sits below the agent and ends the process itself.
#pragma once

inline constexpr int kExitDisplayUnavailable = 5;
