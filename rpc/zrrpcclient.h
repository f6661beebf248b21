// ZrRPCClient: sends one ONC RPC call as a single UDP datagram to a fixed server and waits for one
// reply under a time-out. Owns its socket. Never throws: every operation returns a MessageError and
// keeps it as the status; derived clients receive decoded replies in HandleServerRpcResponse.
#pragma once

#include <array>

#include "net/zrinetaddr.h"
#include "net/zrsocket.h"
#include "rpc/zrrpcclienterrors.h"
#include "rpc/zrrpcmessage.h"

class ZrRPCClient {
public:
    using MessageError = ZrRPCClientErrors::MessageError;
    // Longer datagrams are cut to this size.
    static constexpr long kReceiveArea = 8192;
    static constexpr unsigned int kSocketBufferSize = 32768;

    // Binds a datagram socket to port 0 on every interface and raises its buffers to 32768 bytes;
    // the outcome is the status (ERRBind, ERRGetBuffer, ERRSendBuffer or ERRCallSuccess).
    ZrRPCClient(const ZrInetAddr& server, unsigned int timeoutSeconds);
    virtual ~ZrRPCClient();
    ZrRPCClient(const ZrRPCClient&) = delete;
    ZrRPCClient& operator=(const ZrRPCClient&) = delete;

    // Called by ReceiveRpc with every reply it takes.
    virtual void HandleServerRpcResponse(ZrRPCMessageFromServer& reply, const ZrInetAddr& from);

    // Sends the call, then ReceiveRpc into a fresh reply.
    [[nodiscard]] MessageError SendAndReceiveRpc(ZrRPCMessageFromClient& call);
    // Waits for one reply (ReceiveRpcWithTimeout) and hands it to HandleServerRpcResponse.
    [[nodiscard]] MessageError ReceiveRpc(ZrRPCMessageFromServer& reply);
    // One datagram to the server.
    [[nodiscard]] MessageError SendServerRpcMessage(ZrRPCMessageFromClient& call);
    // One read without waiting: ERRRecv on a failed or empty read, ERRParse when it does not decode.
    [[nodiscard]] MessageError ReceiveServerResponse(ZrRPCMessageFromServer& reply, ZrInetAddr& from);
    // Waits up to the time-out for a datagram that decodes, dropping any that do not. The time-out
    // starts again after every dropped datagram.
    [[nodiscard]] MessageError ReceiveRpcWithTimeout(ZrRPCMessageFromServer& reply, ZrInetAddr& from);

    MessageError Status() const { return m_status; }
    const ZrInetAddr& Server() const { return m_server; }
    unsigned int TimeoutSeconds() const { return m_timeoutSeconds; }
    // The socket's descriptor, for callers that watch it for readiness; -1 when none could be made.
    int Descriptor() const { return m_socket.Descriptor(); }
    const ZrSocket& Socket() const { return m_socket; }

protected:
    MessageError SetStatus(MessageError status) { return m_status = status; }

private:
    // Decodes one datagram of the receive area into `reply`; false when it is not a usable reply.
    [[nodiscard]] bool Decode(const unsigned char* data, long length, ZrRPCMessageFromServer& reply);

    MessageError m_status = ZrRPCClientErrors::ERRCallSuccess;
    ZrInetAddr m_server;
    ZrSocket m_socket;
    unsigned int m_timeoutSeconds;
    std::array<unsigned char, kReceiveArea> m_receiveArea;
    // How far datagrams have filled the area since it was last wiped: pages never written stay
    // untouched (one client lives in every session).
    long m_receiveUsed = 0;
};
