#include "rpc/zrrpcclient.h"

#include <sys/select.h>

#include "foundation/crypto/zrsecurewipe.h"

#include <cerrno>

using Errors = ZrRPCClientErrors;

ZrRPCClient::ZrRPCClient(const ZrInetAddr& server, unsigned int timeoutSeconds)
    : m_server(server), m_timeoutSeconds(timeoutSeconds) {
    if (!m_socket.Bind(ZrSocketAddress(ZrInetAddr::AddressAny()), ZrSocket::datagram, false, 0, false)) {
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

ZrRPCClient::MessageError ZrRPCClient::SendServerRpcMessage(ZrRPCMessageFromClient& call) {
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
    return ReceiveRpc(reply);
}

ZrRPCClient::MessageError ZrRPCClient::ReceiveRpc(ZrRPCMessageFromServer& reply) {
    ZrInetAddr from;
    SetStatus(ReceiveRpcWithTimeout(reply, from));
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

ZrRPCClient::MessageError ZrRPCClient::ReceiveServerResponse(ZrRPCMessageFromServer& reply,
                                                             ZrInetAddr& from) {
    long got = 0;
    int result = m_socket.ReadMessage(m_receiveArea.data(), kReceiveArea, got, from);
    if (result == ZrSocket::messageFailed || result == ZrSocket::messageEndOfFile)
        return Errors::ERRRecv;
    return Decode(m_receiveArea.data(), got, reply) ? Errors::ERRCallSuccess : Errors::ERRParse;
}

ZrRPCClient::MessageError ZrRPCClient::ReceiveRpcWithTimeout(ZrRPCMessageFromServer& reply,
                                                             ZrInetAddr& from) {
    int fd = m_socket.Descriptor();
    // select cannot watch a descriptor beyond its fixed set.
    if (fd < 0 || fd >= FD_SETSIZE)
        return Errors::ERRSelect;
    long got = 0;
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        // A fresh full time-out every round: a stream of unusable datagrams keeps us waiting.
        timeval timeout{static_cast<time_t>(m_timeoutSeconds), 0};
        int ready = ::select(fd + 1, &readable, nullptr, nullptr, &timeout);
        if (ready < 0) {
            if (errno == EINTR || errno == EAGAIN)
                continue;
            return Errors::ERRSelect;
        }
        if (ready == 0)
            return Errors::ERRTimeOut;
        int result = m_socket.ReadMessage(m_receiveArea.data(), kReceiveArea, got, from);
        if (result == ZrSocket::messageFailed || result == ZrSocket::messageEndOfFile)
            continue;
        if (Decode(m_receiveArea.data(), got, reply))
            return Errors::ERRCallSuccess;
    }
}
