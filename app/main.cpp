#include "app/commandline.h"

int main(int argc, char** argv) {
    int exitCode = 0;
    Main(argc, argv, exitCode);
    return exitCode;
}
