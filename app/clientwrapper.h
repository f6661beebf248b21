// ClientWrapper: the agent's controller. It loads the server configuration, connects to the file
// server's control program, registers the X display, turns every client drive that the display's DMP
// endpoint reports into share configuration on the file server, keeps the home-directory link, and
// withdraws all of it at clean-up. Start-up failures end the process with exit(); once the display is
// registered, a refused command is reported and serving goes on, and every ending runs the clean-up
// (EndSession).
#pragma once

#include <sys/types.h>

#include <memory>

#include "app/exitcodes.h"
#include "dmp/idmpenumnotify.h"
#include "foundation/container/zrdlist.h"
#include "foundation/string/zrunistring.h"
#include "framework/platform/socket.h"

class DMPManager;
class ZrDatabase;
class ZrOFStream;
class ZrSMBNFSClient;

namespace platform {
class Dispatcher;
}

class ClientWrapper : public IDMPEnumNotify, public platform::IInputStreamNotify {
public:
    static const char WEX_CDM_SYMLINK_NAME[];
    static const char NFSSERVER_SHARES_SMB_KEY[];

    // The file server's whereabouts, as text until Connect converts them.
    struct ServerConfig {
        ZrUniString realServer;
        ZrUniString port;
        ZrUniString clientTimeout;
        ZrUniString mountPoint;
        ZrUniString userOverride; // empty unless set: only the superuser may act as another user
    };

    // One mapped drive, with the strings exactly as the add-device request gave them (host lower-cased).
    struct DeviceRecord {
        ZrUniString host;
        ZrUniString share;
        ZrUniString encodedUser;
        ZrUniString encodedPassword;
        bool operator==(const DeviceRecord& other) const;
    };
    // Slots are never reused (a removed drive leaves a hole), so a long session's table grows by one
    // slot per drive ever added: a pointer keeps that slot small, the record itself goes with the drive.
    using DeviceTable = ZrDList<std::unique_ptr<DeviceRecord>>;

    ClientWrapper(ZrOFStream& out, ZrOFStream& err, platform::Dispatcher& dispatcher);
    ~ClientWrapper() override;
    ClientWrapper(const ClientWrapper&) = delete;
    ClientWrapper& operator=(const ClientWrapper&) = delete;

    void Process();
    // True when the active display's last turn stopped at its yield limit with events still in
    // Xlib's queue: no descriptor will report them, so the loop must come back without waiting.
    bool HasQueuedDisplayWork() const;

    // Configuration (reading the server configuration and personal configuration files).
    void LoadConfigFromFile(const ZrUniString& path);
    void SendSetConfigFromFile(const ZrUniString& path);
    void ReadFromFile(const ZrUniString& path, ZrByteBuffer& out, bool check);
    void LoadConfig(const ZrUniString& text);
    void PerformSubstitutions(ZrUniString& text, ZrDatabase* db);

    // Connection and display registration.
    void Connect();
    bool RegisterDisplay(const char* display);
    void OnReadable(stream::IInputStream& stream) override;

    // Drives.
    void OnAddDevice(ZrUniString host, ZrUniString share, ZrUniString encodedUser,
                     ZrUniString encodedPassword) override;
    void OnRemoveDevice(ZrUniString host, ZrUniString share, ZrUniString encodedUser,
                        ZrUniString encodedPassword) override;
    void AddHostConfig(ZrDatabase& db, const ZrUniString& host, const ZrUniString& user,
                       const ZrUniString& password);
    void AddShareConfig(ZrDatabase& db, const ZrUniString& host, const ZrUniString& share,
                        const ZrUniString& user, const ZrUniString& password);
    // False, after the command-failed line, when the server refused the text or did not answer.
    bool SendSetConfig(const ZrUniString& configText);
    // The server's error text, empty on success.
    ZrUniString SendFlushSession(const ZrUniString& host);
    // Withdraws every share, unregisters the user, removes the link and flushes every host's sessions;
    // a failed step is reported with its line and the rest still run. False when a step failed.
    bool CleanUp();
    // The one way a registered session ends: takes the signals back to ending at once, runs the
    // clean-up (once) and returns the exit status: a recorded signal's, else `cause`; 4 when a clean-up
    // step failed.
    int EndSession(int cause);

    // The home-directory link.
    bool FileExists(const ZrUniString& path);
    bool FileIsSymlink(const ZrUniString& path);
    bool Unlink(const ZrUniString& path);
    void CreateSymlink(const ZrUniString& host);
    // False when a link is there and could not be removed.
    bool DeleteSymlink();

    // The local account name (worked out once for the process).
    const ZrUniString& UserName();

    // Where the failure exits end: std::exit unless replaced. A replacement must not return (a
    // harness that loads configurations in a loop throws instead); if it does, std::exit follows.
    using ExitFunction = void (*)(int code);
    static void SetExitFunction(ExitFunction function);

    // Failure exits: one line on the error stream, then exit(code).
    [[noreturn]] void ExitBadServerConfig(const ZrUniString& reason);
    [[noreturn]] void ExitBadMode(const ZrUniString& path);
    [[noreturn]] void ExitBadOpen(const ZrUniString& path);
    [[noreturn]] void ExitBadHost(const ZrUniString& name);
    [[noreturn]] void ExitBadPort(const ZrUniString& text);
    [[noreturn]] void ExitBadTimeout(const ZrUniString& text);
    [[noreturn]] void ExitBadConnect(const ZrUniString& text);
    // Not exits: a refused command is reported and serving goes on; a display that cannot be opened
    // ends the session (EndSession) after its line.
    void ReportBadReturn(const ZrUniString& reply);
    [[noreturn]] void ExitBadDisplay(const ZrUniString& display);

    const ZrUniString& SymlinkDir() const { return m_symlinkDir; }
    const ZrUniString& SymlinkName() const { return m_symlinkName; }
    // Where the home link is made: symlink directory + "/" + symlink name.
    ZrUniString LinkPath() const;

private:
    void Report(const char* text, const ZrUniString& argument, bool quoted);
    [[noreturn]] void Exit(const char* text, const ZrUniString& argument, bool quoted, ExitCode code);
    [[noreturn]] static void ExitWith(int code);
    // After a call whose failure says nothing by itself: the held-port text, if that was why.
    void ReportHeldPort();

    std::unique_ptr<ZrSMBNFSClient> m_pClient;
    ServerConfig m_serverConfig;
    // Who owns the server configuration read: besides root, the one account trusted to hold a local
    // file server's port.
    uid_t m_configOwner = 0;
    ZrOFStream& m_out;
    ZrOFStream& m_err;
    DeviceTable m_devices{10};
    platform::Dispatcher& m_dispatcher;
    std::unique_ptr<DMPManager> m_pManager;
    std::unique_ptr<platform::Socket> m_pControlSocket;
    ZrUniString m_symlinkDir;
    ZrUniString m_symlinkName;
    bool m_ended = false;
};
