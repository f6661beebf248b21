#include "rpc/zrsmbnfsclient.h"

#include <unistd.h>

#include "foundation/crypto/zrrandom.h"
#include "net/zrsysinfo.h"

using Errors = ZrRPCClientErrors;

ZrSMBNFSClient::ZrSMBNFSClient(const ZrInetAddr& server, unsigned int timeoutSeconds)
    : ZrRPCClient(server, timeoutSeconds), m_nextXid(ZrRandom::RndNum()) {
    if (Status() != Errors::ERRCallSuccess)
        m_lastError = Errors::MessageErrorInfo(Status());
}

ZrSMBNFSClient::~ZrSMBNFSClient() = default;

const ZrUniString& ZrSMBNFSClient::SendPacket(ZrSMBNFSRequest& request, ZrRPCEnum::AuthFlavour flavour) {
    request.Pack();

    ZrRPCAuthBlock auth(flavour);
    if (flavour == ZrRPCEnum::AuthUnix) {
        ZrRPCUnixAuth body;
        body.stamp(0);
        body.machinename(ZrRPCString(ZrSysInfoHostName()));
        body.uid(::geteuid());
        body.gid(::getegid());
        auth.auth_body(body);
    }

    ZrRPCCallBody callBody;
    callBody.prog(kProgram);
    callBody.vers(kProgramVersion);
    callBody.proc(request.command());
    callBody.credentials(auth);
    // The server expects a Unix verifier along with Unix credentials.
    callBody.verifier(auth);
    callBody.rpc_data(request);

    // The message object lives with the client so that its packed bytes keep their allocation.
    m_call.xid(GetNextXID());
    m_call.call_body(std::move(callBody));

    m_lastError.Truncate(0);
    MessageError status = SendAndReceiveRpc(m_call);
    // A configuration text may carry passwords: between calls the client keeps none of the call's
    // bytes (the body lets go of the request's, the packed call is wiped in place).
    m_call.call_body(ZrRPCCallBody());
    m_call.WipePacked();
    if (status != Errors::ERRCallSuccess)
        m_lastError = Errors::MessageErrorInfo(status);
    return m_lastError;
}

void ZrSMBNFSClient::HandleServerRpcResponse(ZrRPCMessageFromServer& reply, const ZrInetAddr&) {
    const ZrRPCReplyBody& body = reply.reply_body();
    if (body.reply_stat() != ZrRPCEnum::MsgAccepted) {
        m_lastError = ZrUniString("The rpc packet was rejected by the server");
        return;
    }
    const ZrRPCAccepted& accepted = body.accepted();
    if (accepted.accept_stat() != ZrRPCEnum::Success) {
        m_lastError = ZrUniString("The request was refused by the server");
        return;
    }
    const ZrByteBuffer& result = accepted.rpc_data();
    const unsigned char* data = result.Data();
    unsigned long remaining = static_cast<unsigned long>(result.Length());
    if (!m_lastResponse.Read(data, remaining) || !m_lastResponse.IsValid()) {
        m_lastError = ZrUniString("Unable to decode return packet");
        return;
    }
    m_lastError = m_lastResponse.error().Text();
}

const ZrUniString& ZrSMBNFSClient::ReceiveRpc(ZrSMBNFSResponse& response) {
    ZrRPCMessageFromServer reply;
    MessageError status = ZrRPCClient::ReceiveRpc(reply);
    if (status != Errors::ERRCallSuccess)
        m_lastError = Errors::MessageErrorInfo(status);
    else
        response = m_lastResponse;
    return m_lastError;
}

const ZrUniString& ZrSMBNFSClient::FlushSession(const ZrUniString& user, const ZrUniString& machine) {
    ZrSMBNFSRequest request(kSMBNFSFlushSession);
    request.user(user);
    request.machine(machine);
    return SendPacket(request, ZrRPCEnum::AuthNone);
}

const ZrUniString& ZrSMBNFSClient::SetConfig(const ZrUniString& user, const ZrUniString& config) {
    ZrSMBNFSRequest request(kSMBNFSSetConfig);
    request.user(user);
    request.config(config);
    return SendPacket(request, ZrRPCEnum::AuthNone);
}

const ZrUniString& ZrSMBNFSClient::GetConfig(const ZrUniString& user, ZrUniString& config) {
    ZrSMBNFSRequest request(kSMBNFSGetConfig);
    request.user(user);
    if (SendPacket(request, ZrRPCEnum::AuthNone).Length() == 0)
        config = m_lastResponse.config().Text();
    return m_lastError;
}

const ZrUniString& ZrSMBNFSClient::ListSessions(const ZrUniString& user,
                                                ZrDList<ZrSMBNFSSessionInfo>& sessions) {
    ZrSMBNFSRequest request(kSMBNFSListSessions);
    request.user(user);
    if (SendPacket(request, ZrRPCEnum::AuthNone).Length() == 0)
        sessions = m_lastResponse.sessions();
    return m_lastError;
}

const ZrUniString& ZrSMBNFSClient::RegisterDisplayForUser(const ZrUniString& user,
                                                          const ZrUniString& display) {
    ZrSMBNFSRequest request(kSMBNFSRegisterDisplay);
    request.user(user);
    request.display(display);
    return SendPacket(request, ZrRPCEnum::AuthUnix);
}

const ZrUniString& ZrSMBNFSClient::UnregisterUser(const ZrUniString& user) {
    ZrSMBNFSRequest request(kSMBNFSUnregisterUser);
    request.user(user);
    return SendPacket(request, ZrRPCEnum::AuthUnix);
}
