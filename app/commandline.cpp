#include "app/commandline.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "app/clientwrapper.h"
#include "app/globals.h"
#include "dmp/dmpenum.h"
#include "dmp/dmpmanager.h"
#include "foundation/codeset/zrcodesetconverter.h"
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
    std::exit(1);
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
    // sleep() may return early when a signal arrives; the delay is a best effort like the call itself.
    sleep(seconds > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(seconds));
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

void Main(int argc, char** argv, int& exitCode) {
    ZrSysEncoding::filesystem = kZrEncodingUtf8;
    ZrSysEncoding::filesystemOptions = 0;

    if (argc < 2) {
        ErrNoArgs();
        ExitUsage();
    }
    platform::Dispatcher dispatcher;
    ClientWrapper client(cout, cerr, dispatcher);
    g_pClientWrapper = &client;
    // An X I/O error ends the process from inside Xlib; what was configured is withdrawn first.
    DMPManager::SetCleanUp([] {
        if (g_pClientWrapper)
            g_pClientWrapper->CleanUp();
    });
    // The endpoint's one message of its own goes out through the same standard-output stream.
    DMPEnum::SetMessageWriter([](const char* text) {
        cout << text;
        cout.Flush();
    });

    if (std::strcmp(argv[1], "--dmpdisplay") != 0) {
        ErrBadCommand(ZrUniString(argv[1]));
        ExitUsage();
    }
    if (argc != 3 && argc != 5 && argc != 7) {
        ErrWrongNumber(static_cast<unsigned int>(argc - 1));
        ExitUsage();
    }
    CommandLineOptions options = ScanOptions(argc, argv, g_strConfigFile);

    client.LoadConfigFromFile(options.configFile);
    client.Connect();
    if (client.RegisterDisplay(argv[2])) {
        for (;;) {
            client.Process();
            int32_t registrations;
            if (client.HasQueuedDisplayWork()) {
                // Poll rather than block, so that the next Process() takes up the queued events.
                const common::Duration none(0, 0);
                registrations = dispatcher.Dispatch(&none);
            } else {
                registrations = dispatcher.Dispatch();
            }
            // -1: the poll found nothing ready, so nothing was dispatched.
            if (registrations >= 0 && registrations <= 1)
                break;
        }
        client.CleanUp();
    }
    // A refused registration configured nothing, so there is nothing to clean up.
    DMPManager::SetCleanUp(nullptr);
    g_pClientWrapper = nullptr;
    exitCode = 0;
}
