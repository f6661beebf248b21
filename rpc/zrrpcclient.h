// ZrRPCClient: sends one ONC RPC call as a UDP datagram to a fixed server and waits for its reply
// under a time-out, sending the same datagram again while no reply comes. Owns its socket. Never
// throws: every operation returns a MessageError and keeps it as the status; derived clients receive
// decoded replies in HandleServerRpcResponse.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

#include "net/zrinetaddr.h"
#include "net/zrsocket.h"
#include "rpc/zrrpcclienterrors.h"
#include "rpc/zrrpcmessage.h"

// When the copies of an unanswered call go out. A healthy server answers within milliseconds, so the
// first copy is repeated only after about a second; each later interval is twice the one before.
// Every interval is varied at random by up to a fifth either way, so that clients started together
// do not repeat their calls together.
class ZrRPCResendSchedule {
public:
    // The wait before the next copy, scaled by `permille` (800 to 1200); the first overload draws it.
    std::chrono::microseconds Next();
    std::chrono::microseconds Next(uint32_t permille);

private:
    std::chrono::microseconds m_interval = std::chrono::seconds(1);
};

class ZrRPCClient {
public:
    using MessageError = ZrRPCClientErrors::MessageError;
    // Longer datagrams are cut to this size.
    static constexpr long kReceiveArea = 8192;
    static constexpr unsigned int kSocketBufferSize = 32768;

    // Binds a datagram socket to port 0, on the loopback address when the server's address is a
    // loopback one and on every interface otherwise, connects it to the server (so the kernel
    // drops whatever another sender sends to it) and raises its buffers to 32768 bytes; the
    // outcome is the status (ERRBind, also when it cannot connect, ERRGetBuffer, ERRSendBuffer or
    // ERRCallSuccess).
    ZrRPCClient(const ZrInetAddr& server, unsigned int timeoutSeconds);
    virtual ~ZrRPCClient();
    ZrRPCClient(const ZrRPCClient&) = delete;
    ZrRPCClient& operator=(const ZrRPCClient&) = delete;

    // Called by ReceiveRpc with every reply it takes.
    virtual void HandleServerRpcResponse(ZrRPCMessageFromServer& reply, const ZrInetAddr& from);

    // Sends the call, then ReceiveRpc into a fresh reply to it.
    [[nodiscard]] MessageError SendAndReceiveRpc(ZrRPCMessageFromClient& call);
    // Waits for one reply (ReceiveRpcWithTimeout) and hands it to HandleServerRpcResponse.
    [[nodiscard]] MessageError ReceiveRpc(ZrRPCMessageFromServer& reply,
                                          ZrRPCMessageFromClient* call = nullptr);
    // One datagram to the server. When the server's port must be held by a trusted account (see
    // TrustPortHolder) and another holds it, or the tables cannot tell: ERRPortHeld, nothing sent;
    // when nothing holds it: nothing is sent either, and the wait that follows times out as it
    // would for a server that is down. Every copy of a call goes out through here.
    [[nodiscard]] MessageError SendServerRpcMessage(ZrRPCMessageFromClient& call);
    // Only datagrams whose sender is exactly the server address are heard; any other is dropped
    // without being decoded, whatever it holds. One read without waiting: ERRRecv on a failed or
    // empty read or a datagram from another sender, ERRParse when it does not decode.
    [[nodiscard]] MessageError ReceiveServerResponse(ZrRPCMessageFromServer& reply, ZrInetAddr& from);
    // Waits up to the time-out for a datagram from the server that decodes and, for a `call` just
    // sent, carries its transaction identifier. Any other datagram is dropped and the wait goes on
    // under the same deadline. Meanwhile the unanswered `call` is sent again, unchanged, as
    // ZrRPCResendSchedule says, while its deadline has not come.
    [[nodiscard]] MessageError ReceiveRpcWithTimeout(ZrRPCMessageFromServer& reply, ZrInetAddr& from,
                                                     ZrRPCMessageFromClient* call = nullptr);
    // For a socket found readable with no call outstanding: true when the server's datagram is next
    // in the queue and, where it is checked, the server's port is held by trusted accounts alone. A
    // datagram from another sender or from a port not so held is taken off and dropped; never waits.
    [[nodiscard]] bool ServerDatagramNext();
    // From now on, when the server is on this host, its port must be held by root or `owner` alone
    // (every socket that would receive a datagram for it, ZrUdpPortHolders) for a call to be sent
    // or a datagram between calls to be taken.
    void TrustPortHolder(uint32_t owner);

    MessageError Status() const { return m_status; }
    // The socket's descriptor, for callers that watch it for readiness; -1 when none could be made.
    int Descriptor() const { return m_socket.Descriptor(); }

protected:
    MessageError SetStatus(MessageError status) { return m_status = status; }

private:
    // Decodes one datagram of the receive area into `reply`; false when it is not a usable reply.
    [[nodiscard]] bool Decode(const unsigned char* data, long length, ZrRPCMessageFromServer& reply);
    // Takes the datagram at the head of the queue off unread.
    void DropDatagram();
    enum PortHolders { portTrusted, portFree, portHeldByAnother };
    // Who holds the server's port now; portTrusted when it is not checked.
    PortHolders ServerPortHolders();

    MessageError m_status = ZrRPCClientErrors::ERRCallSuccess;
    ZrInetAddr m_server;
    ZrSocket m_socket;
    unsigned int m_timeoutSeconds;
    bool m_serverLocal;
    bool m_checkPort = false;
    uint32_t m_portOwner = 0;
    std::array<unsigned char, kReceiveArea> m_receiveArea;
    // How far datagrams have filled the area since it was last wiped: pages never written stay
    // untouched (one client lives in every session).
    long m_receiveUsed = 0;
};
