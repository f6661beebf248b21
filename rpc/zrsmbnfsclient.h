// ZrSMBNFSClient: the control client of the local SMB/NFS file server. Each operation sends one
// control request as one RPC call (program 100003, version 2) and returns the last error text: empty
// on success, otherwise a message for the user. Never throws. One call at a time; the socket is the
// base's, so an event loop may watch Descriptor() and collect a late reply with ReceiveRpc(response).
#pragma once

#include "foundation/container/zrdlist.h"
#include "rpc/zrrpcclient.h"
#include "rpc/zrrpcenum.h"
#include "rpc/zrsmbnfsrequest.h"
#include "rpc/zrsmbnfsresponse.h"

class ZrSMBNFSClient : public ZrRPCClient {
public:
    static constexpr uint32_t kProgram = 100003;
    static constexpr uint32_t kProgramVersion = 2;

    // When the socket cannot be set up, the last error text holds the status's two-line explanation.
    ZrSMBNFSClient(const ZrInetAddr& server, unsigned int timeoutSeconds);
    ~ZrSMBNFSClient() override;

    void HandleServerRpcResponse(ZrRPCMessageFromServer& reply, const ZrInetAddr& from) override;

    // The next transaction identifier; the sequence starts at a random value and wraps.
    uint32_t GetNextXID() { return m_nextXid++; }

    [[nodiscard]] const ZrUniString& FlushSession(const ZrUniString& user, const ZrUniString& machine);
    [[nodiscard]] const ZrUniString& SetConfig(const ZrUniString& user, const ZrUniString& config);
    // `config` is set only on success.
    [[nodiscard]] const ZrUniString& GetConfig(const ZrUniString& user, ZrUniString& config);
    // `sessions` is replaced only on success.
    [[nodiscard]] const ZrUniString& ListSessions(const ZrUniString& user,
                                                  ZrDList<ZrSMBNFSSessionInfo>& sessions);
    [[nodiscard]] const ZrUniString& RegisterDisplayForUser(const ZrUniString& user,
                                                            const ZrUniString& display);
    [[nodiscard]] const ZrUniString& UnregisterUser(const ZrUniString& user);

    // The common path: wraps the request in a call with the given authentication and waits for
    // the reply.
    [[nodiscard]] const ZrUniString& SendPacket(ZrSMBNFSRequest& request, ZrRPCEnum::AuthFlavour flavour);
    // Waits for one more reply without sending (for a reply that arrives unasked, such as a
    // request to open another display); on success copies the decoded response out.
    [[nodiscard]] const ZrUniString& ReceiveRpc(ZrSMBNFSResponse& response);
    using ZrRPCClient::ReceiveRpc;

    const ZrUniString& LastError() const { return m_lastError; }

private:
    ZrUniString m_lastError;
    ZrSMBNFSResponse m_lastResponse;
    ZrRPCMessageFromClient m_call;
    uint32_t m_nextXid;
};
