#include "app/commandline.h"
#include "framework/dispatch/dispatch.h"

int main(int argc, char** argv) {
    int exitCode = 0;
    dispatch::Loop([&] { Main(argc, argv, exitCode); });
    return exitCode;
}
