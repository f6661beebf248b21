#include "app/agentmain.h"

#include "app/clientwrapper.h"
#include "app/commandline.h"
#include "app/exitcodes.h"
#include "app/globals.h"
#include "dmp/dmpenum.h"
#include "dmp/dmpmanager.h"
#include "foundation/codeset/zrcodesetconverter.h"
#include "foundation/file/zrfile.h"
#include "framework/platform/dispatcher.h"
#include "framework/platform/sandbox.h"

namespace {

// Turns the controller and the dispatcher until a dispatcher step leaves one registration or none:
// then only the control socket, or nothing, is left to wait for.
void RunLoop(ClientWrapper& client, platform::Dispatcher& dispatcher) {
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
        // -1: the poll's time limit ran out (whatever else the step dispatched); the loop goes on.
        if (registrations >= 0 && registrations <= 1)
            return;
    }
}

} // namespace

void Main(int argc, char** argv, int& exitCode) {
    ZrSysEncoding::filesystem = kZrEncodingUtf8;
    ZrSysEncoding::filesystemOptions = 0;

    CheckHasArguments(argc);
    platform::Dispatcher dispatcher;
    ClientWrapper client(cout, cerr, dispatcher);
    // An X I/O error ends the process from inside Xlib; what was configured is withdrawn first.
    DMPManager::SetCleanUp([&client] { client.CleanUp(); });
    // The endpoint's one message of its own goes out through the same standard-output stream.
    DMPEnum::SetMessageWriter([](const char* text) {
        cout << text;
        cout.Flush();
    });

    CheckDisplayArguments(argc, argv);
    CommandLineOptions options = ScanOptions(argc, argv, g_strConfigFile);

    client.LoadConfigFromFile(options.configFile);
    client.Connect();
    // A refused registration configured nothing, so there is nothing to clean up.
    if (client.RegisterDisplay(argv[2])) {
        // Start-up is over: from here on the agent serves its displays, the file server and its link.
        platform::Confine(reinterpret_cast<const char*>(ZrFile::SystemPath(client.LinkPath()).Data()));
        RunLoop(client, dispatcher);
        client.CleanUp();
    }
    DMPManager::SetCleanUp(nullptr);
    exitCode = kExitNormal;
}
