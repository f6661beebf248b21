#include "app/agentmain.h"

#include "app/clientwrapper.h"
#include "app/commandline.h"
#include "app/exitcodes.h"
#include "app/globals.h"
#include "dmp/dmpenum.h"
#include "dmp/dmpmanager.h"
#include "foundation/codeset/zrcodesetconverter.h"
#include "foundation/file/zrfile.h"
#include "framework/platform/currentprocess.h"
#include "framework/platform/dispatcher.h"
#include "framework/platform/sandbox.h"

namespace {

// Turns the controller and the dispatcher until a dispatcher step leaves one registration or none
// (then only the control socket, or nothing, is left to wait for) or a signal asked for the end.
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
        if ((registrations >= 0 && registrations <= 1) || dispatcher.ExitRequest() != 0)
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
    // A display without the extension, or one Xlib finds broken, ends the process from inside the
    // DMP layer; what was configured is withdrawn first.
    DMPManager::SetEnding([&client](int cause) { return client.EndSession(cause); });
    // The endpoint's lines go out through the same streams as the agent's own.
    DMPEnum::SetMessageWriter([](bool error, const char* text) {
        ZrOFStream& stream = error ? cerr : cout;
        stream << text;
        stream.Flush();
    });

    CheckDisplayArguments(argc, argv);
    CommandLineOptions options = ScanOptions(argc, argv, g_strConfigFile);

    client.LoadConfigFromFile(options.configFile);
    client.Connect();
    // Until here a signal ends the process at once (nothing is configured yet); from the registration
    // on, it is recorded, the call in progress finishes and the session ends through its clean-up.
    platform::CurrentProcess::RecordSignals();
    if (client.RegisterDisplay(argv[2])) {
        // Start-up is over: from here on the agent serves its displays, the file server and its link.
        platform::Confine(reinterpret_cast<const char*>(ZrFile::SystemPath(client.LinkPath()).Data()));
        RunLoop(client, dispatcher);
        exitCode = client.EndSession(kExitNormal);
    } else {
        // A refused registration configured nothing, so there is nothing to clean up.
        exitCode = platform::CurrentProcess::EndOnSignal();
    }
    // The displays still open are closed on the way out; should one turn out broken then, the process
    // still ends with this status.
    DMPManager::SetEnding([status = exitCode](int) { return status; });
}
