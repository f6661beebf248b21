// The agent's start-up sequence and main loop. Main runs inside dispatch::Loop: it checks the command
// line, builds the controller, loads the server configuration, connects, registers the display and
// then turns the dispatcher until the display goes away. Failures end the process through exit()
// with one of the codes in app/exitcodes.h; a normal end sets exitCode to kExitNormal.
#pragma once

void Main(int argc, char** argv, int& exitCode);
