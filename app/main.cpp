#include "app/agentmain.h"
#include "app/exitcodes.h"
#include "framework/dispatch/dispatch.h"
#include "framework/platform/currentprocess.h"

int main(int argc, char** argv) {
    // Before anything is read: the agent comes to hold its users' share passwords.
    platform::CurrentProcess::ForbidDumps();
    int exitCode = kExitNormal;
    dispatch::Loop([&] { Main(argc, argv, exitCode); });
    return exitCode;
}
