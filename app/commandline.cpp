#include "app/commandline.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "app/exitcodes.h"
#include "app/globals.h"
#include "framework/platform/dispatcher.h"

void ErrNoArgs() {
    cerr << "No arguments were specified\n";
}

void ErrBadCommand(const ZrUniString& argument) {
    cerr << "Unknown argument: " << argument << "\n";
}

void ErrWrongNumber(unsigned int count) {
    cerr << "The wrong number of arguments were used: " << count << "\n";
}

void ExitUsage() {
    cerr << "Usage: kpatdmcl --dmpdisplay <display> [--servercfg <config>] [--delay <seconds>]\n";
    cerr.Flush();
    std::exit(kExitUsage);
}

void CheckHasArguments(int argc) {
    if (argc < 2) {
        ErrNoArgs();
        ExitUsage();
    }
}

void CheckDisplayArguments(int argc, char** argv) {
    if (std::strcmp(argv[1], "--dmpdisplay") != 0) {
        ErrBadCommand(ZrUniString(argv[1]));
        ExitUsage();
    }
    if (argc != 3 && argc != 5 && argc != 7) {
        ErrWrongNumber(static_cast<unsigned int>(argc - 1));
        ExitUsage();
    }
}

namespace {

// The leading base-10 number of `text` (the rest ignored); 0 when there is none.
long LeadingNumber(const char* text) {
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    return end == text ? 0 : value;
}

void Delay(const char* text) {
    long seconds = LeadingNumber(text);
    if (seconds <= 0)
        return;
    // The sleep may end early when a signal arrives; the delay is a best effort like the call itself.
    platform::Process::Sleep(seconds > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(seconds));
}

} // namespace

CommandLineOptions ScanOptions(int argc, char** argv, const ZrUniString& defaultConfigFile) {
    CommandLineOptions options{defaultConfigFile};
    int i = 0;
    while (i < argc) {
        const char* arg = argv[i];
        bool hasNext = i + 1 < argc && argv[i + 1][0] != '\0';
        if (std::strcmp(arg, "--servercfg") == 0 || std::strcmp(arg, "-servercfg") == 0) {
            if (hasNext)
                options.configFile = argv[i + 1];
            i += 2;
        } else if (std::strcmp(arg, "--delay") == 0) {
            if (hasNext)
                Delay(argv[i + 1]);
            i += 2;
        } else {
            ++i;
        }
    }
    return options;
}
