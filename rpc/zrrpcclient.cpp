#include "rpc/zrrpcclient.h"

#include <sys/select.h>

#include "foundation/crypto/zrrandom.h"
#include "foundation/crypto/zrsecurewipe.h"
#include "net/zrudpportholders.h"

#include <algorithm>
#include <cerrno>

using Errors = ZrRPCClientErrors;
using Clock = std::chrono::steady_clock;

namespace {

// What is left until `deadline`, for select; nothing once it has passed.
timeval TimeLeft(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left < 0)
        left = 0;
    return timeval{static_cast<time_t>(left / 1000000), static_cast<suseconds_t>(left % 1000000)};
}

} // namespace

std::chrono::microseconds ZrRPCResendSchedule::Next() {
    return Next(800 + ZrRandom::RndNum(401));
}

std::chrono::microseconds ZrRPCResendSchedule::Next(uint32_t permille) {
    auto interval = m_interval * permille / 1000;
    m_interval *= 2;
    return interval;
}

ZrRPCClient::ZrRPCClient(const ZrInetAddr& server, unsigned int timeoutSeconds)
    : m_server(server), m_timeoutSeconds(timeoutSeconds),
      m_serverLocal(ZrUdpPortHolders::IsLocalAddress(server)) {
    // A server on this host is reached over loopback, so nothing from other hosts needs to get in.
    const bool loopback = (server.AsUint32() >> 24) == 127;
    ZrInetAddr local = loopback ? ZrInetAddr::AddressLoopback() : ZrInetAddr::AddressAny();
    if (!m_socket.Bind(ZrSocketAddress(local), ZrSocket::datagram, false, 0, false) ||
        !m_socket.Connect(ZrSocketAddress(server))) {
        m_status = Errors::ERRBind;
        return;
    }
    if (m_socket.GetReceiveBufferSize() < kSocketBufferSize &&
        !m_socket.SetReceiveBufferSize(kSocketBufferSize)) {
        m_status = Errors::ERRGetBuffer;
        return;
    }
    if (m_socket.GetTransmitBufferSize() < kSocketBufferSize &&
        !m_socket.SetTransmitBufferSize(kSocketBufferSize))
        m_status = Errors::ERRSendBuffer;
}

ZrRPCClient::~ZrRPCClient() = default;

void ZrRPCClient::HandleServerRpcResponse(ZrRPCMessageFromServer&, const ZrInetAddr&) {}

void ZrRPCClient::TrustPortHolder(uint32_t owner) {
    m_checkPort = true;
    m_portOwner = owner;
}

ZrRPCClient::PortHolders ZrRPCClient::ServerPortHolders() {
    if (!m_checkPort || !m_serverLocal)
        return portTrusted;
    ZrUdpPortHolders holders;
    if (!holders.Read(m_server))
        return portHeldByAnother; // what cannot be read cannot be trusted
    for (uint32_t uid : holders.Owners())
        if (uid != 0 && uid != m_portOwner)
            return portHeldByAnother;
    return holders.Owners().empty() ? portFree : portTrusted;
}

ZrRPCClient::MessageError ZrRPCClient::SendServerRpcMessage(ZrRPCMessageFromClient& call) {
    switch (ServerPortHolders()) {
    case portHeldByAnother:
        return SetStatus(Errors::ERRPortHeld);
    case portFree:
        // Whoever binds the port next would take the call: it is not put there. The server is down
        // and the reply wait times out as it would after a send.
        return SetStatus(Errors::ERRCallSuccess);
    case portTrusted:
        break;
    }
    // A server that was down has left its refusal of the last call pending on the socket.
    (void)m_socket.ClearPendingError();
    call.Pack();
    long written = 0;
    switch (m_socket.WriteMessage(call.Where(), static_cast<long>(call.HowBig()), written, m_server)) {
    case ZrSocket::messageComplete:
        return SetStatus(Errors::ERRCallSuccess);
    case ZrSocket::messagePartial:
        return SetStatus(Errors::ERRSendPartial);
    case ZrSocket::messageEndOfFile:
        return SetStatus(Errors::ERRSendEOF);
    default:
        return SetStatus(Errors::ERRSend);
    }
}

ZrRPCClient::MessageError ZrRPCClient::SendAndReceiveRpc(ZrRPCMessageFromClient& call) {
    MessageError sent = SendServerRpcMessage(call);
    if (sent != Errors::ERRCallSuccess)
        return sent;
    ZrRPCMessageFromServer reply;
    return ReceiveRpc(reply, &call);
}

ZrRPCClient::MessageError ZrRPCClient::ReceiveRpc(ZrRPCMessageFromServer& reply,
                                                  ZrRPCMessageFromClient* call) {
    ZrInetAddr from;
    SetStatus(ReceiveRpcWithTimeout(reply, from, call));
    // The reply was decoded into its own buffers; a configuration read back would carry passwords.
    ZrSecureWipe(m_receiveArea.data(), static_cast<size_t>(m_receiveUsed));
    m_receiveUsed = 0;
    if (m_status == Errors::ERRCallSuccess)
        HandleServerRpcResponse(reply, from);
    return m_status;
}

bool ZrRPCClient::Decode(const unsigned char* data, long length, ZrRPCMessageFromServer& reply) {
    if (length > m_receiveUsed)
        m_receiveUsed = length;
    unsigned long remaining = static_cast<unsigned long>(length);
    return reply.Read(data, remaining) && reply.IsValid();
}

void ZrRPCClient::DropDatagram() {
    long got = 0;
    ZrInetAddr from;
    // A zero-length read takes the whole datagram off the queue without copying any of it.
    (void)m_socket.ReadMessage(m_receiveArea.data(), 0, got, from);
}

bool ZrRPCClient::ServerDatagramNext() {
    ZrInetAddr from;
    if (!m_socket.PeekSender(from))
        return false;
    // A datagram from the server's port whose holders are not (or no longer) trusted may be an
    // impostor's, and one from a port that nobody holds now cannot be told from one.
    if (from == m_server && ServerPortHolders() == portTrusted)
        return true;
    DropDatagram();
    return false;
}

// Not called by the agent, which waits for replies (ReceiveRpcWithTimeout); reads once without waiting.
ZrRPCClient::MessageError ZrRPCClient::ReceiveServerResponse(ZrRPCMessageFromServer& reply,
                                                             ZrInetAddr& from) {
    long got = 0;
    int result = m_socket.ReadMessage(m_receiveArea.data(), kReceiveArea, got, from);
    if (result == ZrSocket::messageFailed || result == ZrSocket::messageEndOfFile || from != m_server)
        return Errors::ERRRecv;
    return Decode(m_receiveArea.data(), got, reply) ? Errors::ERRCallSuccess : Errors::ERRParse;
}

ZrRPCClient::MessageError ZrRPCClient::ReceiveRpcWithTimeout(ZrRPCMessageFromServer& reply, ZrInetAddr& from,
                                                             ZrRPCMessageFromClient* call) {
    int fd = m_socket.Descriptor();
    // select cannot watch a descriptor beyond its fixed set.
    if (fd < 0 || fd >= FD_SETSIZE)
        return Errors::ERRSelect;
    // One deadline for the whole call, whatever arrives meanwhile: unusable datagrams cannot hold
    // it for ever.
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(m_timeoutSeconds);
    ZrRPCResendSchedule schedule;
    Clock::time_point resend = call ? Clock::now() + schedule.Next() : Clock::time_point::max();
    long got = 0;
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval timeout = TimeLeft(std::min(deadline, resend));
        int ready = ::select(fd + 1, &readable, nullptr, nullptr, &timeout);
        if (ready < 0) {
            if (errno == EINTR || errno == EAGAIN)
                continue;
            return Errors::ERRSelect;
        }
        if (ready == 0) {
            Clock::time_point now = Clock::now();
            if (now >= deadline)
                return Errors::ERRTimeOut;
            if (now >= resend) {
                // A copy that cannot go out leaves the call to its deadline, as a lost one would.
                (void)SendServerRpcMessage(*call);
                resend = Clock::now() + schedule.Next();
            }
            continue;
        }
        int result = m_socket.ReadMessage(m_receiveArea.data(), kReceiveArea, got, from);
        // A failed read (the refusal that a server that is down sends back for a copy, say) or another
        // sender's datagram is no reply.
        if (result == ZrSocket::messageFailed || result == ZrSocket::messageEndOfFile || from != m_server)
            continue;
        // Every copy of this call carries its identifier; a late answer to an earlier call does not.
        if (Decode(m_receiveArea.data(), got, reply) && (!call || reply.xid() == call->xid()))
            return Errors::ERRCallSuccess;
    }
}
