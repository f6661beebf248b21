#include "app/clientwrapper.h"

#include <cstdlib>

#include "app/credentials.h"
#include "dmp/dmpmanager.h"
#include "foundation/codeset/zrconverter.h"
#include "foundation/container/zrdlist.h"
#include "framework/platform/dispatcher.h"
#include "net/zrdns.h"
#include "net/zrinetaddr.h"
#include "net/zrostream.h"
#include "rpc/zrsmbnfsclient.h"
#include "rpc/zrsmbnfsresponse.h"

const char ClientWrapper::WEX_CDM_SYMLINK_NAME[] = "My WEX Drives";
const char ClientWrapper::NFSSERVER_SHARES_SMB_KEY[] = "nfsserver/shares/smb/";

namespace {

// The result value of an unasked register-display reply by which the file server asks the agent to
// open one more display of the same user.
constexpr uint32_t kResultOpenAnotherDisplay = 2;

} // namespace

bool ClientWrapper::DeviceRecord::operator==(const DeviceRecord& other) const {
    return host == other.host && share == other.share && encodedUser == other.encodedUser &&
           encodedPassword == other.encodedPassword;
}

ClientWrapper::ClientWrapper(ZrOFStream& out, ZrOFStream& err, platform::Dispatcher& dispatcher)
    : m_out(out), m_err(err), m_dispatcher(dispatcher), m_pManager(std::make_unique<DMPManager>(*this)) {}

ClientWrapper::~ClientWrapper() {
    // Configuration is withdrawn only by CleanUp; destruction just lets go.
    if (m_pControlSocket) {
        m_pControlSocket->SetNotify(nullptr);
        m_dispatcher.Remove(*m_pControlSocket);
    }
    // The members go in reverse order: the control socket, the DMP manager with its displays, the
    // device records, the file-server client.
}

void ClientWrapper::Process() {
    m_pManager->Process();
}

bool ClientWrapper::HasQueuedDisplayWork() const {
    DMPDisplay* display = m_pManager->ActiveDisplay();
    return display && display->FastEvent().IsSet();
}

const ZrUniString& ClientWrapper::UserName() {
    return credentials::UserName(m_serverConfig.userOverride);
}

namespace {
ClientWrapper::ExitFunction g_exitFunction = nullptr;
} // namespace

void ClientWrapper::SetExitFunction(ExitFunction function) {
    g_exitFunction = function;
}

void ClientWrapper::Report(const char* text, const ZrUniString& argument, bool quoted) {
    m_err << text;
    if (quoted)
        m_err << "\"" << argument << "\"\n";
    else
        m_err << argument << "\n";
    m_out.Flush();
    m_err.Flush();
}

void ClientWrapper::Exit(const char* text, const ZrUniString& argument, bool quoted, ExitCode code) {
    Report(text, argument, quoted);
    ExitWith(code);
}

void ClientWrapper::ExitWith(int code) {
    if (g_exitFunction)
        g_exitFunction(code);
    std::exit(code);
}

void ClientWrapper::ExitBadHost(const ZrUniString& name) {
    Exit("Unable to work out server's IP address: ", name, true, kExitServerUnresolved);
}
void ClientWrapper::ExitBadPort(const ZrUniString& text) {
    Exit("Failed to work out which port to use: ", text, true, kExitBadSetup);
}
void ClientWrapper::ExitBadTimeout(const ZrUniString& text) {
    Exit("Failed to work out timeout to use: ", text, true, kExitBadSetup);
}
void ClientWrapper::ExitBadConnect(const ZrUniString& text) {
    Exit("Failed to connect to the server: ", text, false, kExitBadSetup);
}
void ClientWrapper::ReportBadReturn(const ZrUniString& reply) {
    Report("The command failed: ", reply, false);
}
void ClientWrapper::ExitBadDisplay(const ZrUniString& display) {
    Report("Failed to open X display: ", display, false);
    ExitWith(EndSession(kExitNoDisplay));
}
void ClientWrapper::ExitBadServerConfig(const ZrUniString& reason) {
    Exit("Failed while parsing server config: ", reason, true, kExitBadSetup);
}
void ClientWrapper::ExitBadMode(const ZrUniString& path) {
    Exit("The config file must not be readable by other users: ", path, true, kExitBadSetup);
}
void ClientWrapper::ExitBadOpen(const ZrUniString& path) {
    Exit("Failed to open personal configuration file: ", path, true, kExitBadSetup);
}

void ClientWrapper::Connect() {
    ZrDList<ZrInetAddr> addresses;
    if (!ZrDNS::GetAddressList(m_serverConfig.realServer, addresses, false) || addresses.IsEmpty())
        ExitBadHost(m_serverConfig.realServer);
    ZrInetAddr server;
    for (const ZrInetAddr& address : addresses) {
        server = address;
        break;
    }
    uint32_t port = m_serverConfig.port.AsUint32();
    if (port == 0 || !server.Port(port))
        ExitBadPort(m_serverConfig.port);
    uint32_t timeout = m_serverConfig.clientTimeout.AsUint32();
    if (timeout == 0)
        ExitBadTimeout(m_serverConfig.clientTimeout);
    m_pClient = std::make_unique<ZrSMBNFSClient>(server, timeout);
    if (m_pClient->LastError().Length())
        ExitBadConnect(m_pClient->LastError());
    // A local file server is the one the administrator runs: the configuration names it.
    m_pClient->TrustPortHolder(m_configOwner);
}

void ClientWrapper::ReportHeldPort() {
    if (m_pClient->Status() != ZrRPCClientErrors::ERRPortHeld)
        return;
    m_err << m_pClient->LastError() << "\n";
    m_err.Flush();
}

bool ClientWrapper::RegisterDisplay(const char* display) {
    if (m_pClient->RegisterDisplayForUser(UserName(), ZrUniString(display)).Length()) {
        ReportHeldPort();
        return false;
    }
    if (!m_pManager->AddDisplay(display, nullptr))
        ExitBadDisplay(ZrUniString(display));
    m_pControlSocket = std::make_unique<platform::Socket>(m_pClient->Descriptor());
    m_pControlSocket->SetNotify(this);
    m_dispatcher.Add(*m_pControlSocket);
    return true;
}

void ClientWrapper::OnReadable(stream::IInputStream&) {
    // Only the file server is heard: anything else was dropped and no push is awaited for it.
    if (!m_pClient->ServerDatagramNext())
        return;
    ZrSMBNFSResponse response;
    if (m_pClient->ReceiveRpc(response).Length())
        return;
    // The file server asks for one more display of this user; any other reply is dropped.
    if (response.command() != kSMBNFSRegisterDisplay || response.result() != kResultOpenAnotherDisplay)
        return;
    ZrByteBuffer name = response.display().Text().AsEncoding(kZrEncodingUsAscii, 0);
    name.AppendByte(0);
    m_pManager->AddDisplay(reinterpret_cast<const char*>(name.Data()), nullptr);
}
