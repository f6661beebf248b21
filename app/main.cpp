#include "app/agentmain.h"
#include "app/exitcodes.h"
#include "framework/dispatch/dispatch.h"

int main(int argc, char** argv) {
    int exitCode = kExitNormal;
    dispatch::Loop([&] { Main(argc, argv, exitCode); });
    return exitCode;
}
