#include "rpc/zrrpcmessage.h"

#include "rpc/zrxdr.h"

namespace {

// The rest of the datagram, taken whole.
ZrByteBuffer TakeRest(const unsigned char*& data, unsigned long& remaining) {
    ZrByteBuffer rest(data, remaining);
    data += remaining;
    remaining = 0;
    return rest;
}

void PutBytes(unsigned char*& out, const ZrByteBuffer& bytes) {
    if (bytes.Length())
        std::memcpy(out, bytes.Data(), bytes.Length());
    out += bytes.Length();
}

} // namespace

// ZrRPCCallBody

ZrRPCCallBody::ZrRPCCallBody(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

void ZrRPCCallBody::credentials(const ZrRPCAuthBlock& value) {
    m_credentials = value;
    Changed();
}

void ZrRPCCallBody::verifier(const ZrRPCAuthBlock& value) {
    m_verifier = value;
    Changed();
}

void ZrRPCCallBody::rpc_data(const ZrByteBuffer& value) {
    m_data = value;
    Changed();
}

bool ZrRPCCallBody::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!zrxdr::GetU32(data, remaining, m_rpcvers) || !zrxdr::GetU32(data, remaining, m_prog) ||
        !zrxdr::GetU32(data, remaining, m_vers) || !zrxdr::GetU32(data, remaining, m_proc) ||
        !m_credentials.Read(data, remaining) || !m_verifier.Read(data, remaining))
        return ReadDone(false);
    m_data = TakeRest(data, remaining);
    return ReadDone(true);
}

unsigned long ZrRPCCallBody::PackedSize() const {
    return 16 + m_credentials.PackedSize() + m_verifier.PackedSize() +
           static_cast<unsigned long>(m_data.Length());
}

void ZrRPCCallBody::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_rpcvers);
    zrxdr::PutU32(out, m_prog);
    zrxdr::PutU32(out, m_vers);
    zrxdr::PutU32(out, m_proc);
    m_credentials.PackTo(out);
    m_verifier.PackTo(out);
    PutBytes(out, m_data);
}

ZrUniString ZrRPCCallBody::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "rpcvers", m_rpcvers);
    DebugLine(text, indent, "prog", m_prog);
    DebugLine(text, indent, "vers", m_vers);
    DebugLine(text, indent, "proc", m_proc);
    DebugIndent(text, indent);
    text.Append(ZrUniString("credentials:\n")).Append(m_credentials.DebugString(indent + 1));
    DebugIndent(text, indent);
    text.Append(ZrUniString("verifier:\n")).Append(m_verifier.DebugString(indent + 1));
    DebugLine(text, indent, "data bytes", m_data.Length());
    return text;
}

bool ZrRPCCallBody::operator==(const ZrRPCCallBody& other) const {
    return m_rpcvers == other.m_rpcvers && m_prog == other.m_prog && m_vers == other.m_vers &&
           m_proc == other.m_proc && m_credentials == other.m_credentials && m_verifier == other.m_verifier &&
           m_data == other.m_data;
}

// ZrRPCMessageFromClient

ZrRPCMessageFromClient::ZrRPCMessageFromClient(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

bool ZrRPCMessageFromClient::Read(const unsigned char*& data, unsigned long& remaining) {
    uint32_t type;
    if (!zrxdr::GetU32(data, remaining, m_xid) || !zrxdr::GetU32(data, remaining, type) ||
        type != ZrRPCEnum::Call || !m_body.Read(data, remaining))
        return ReadDone(false);
    return ReadDone(true);
}

void ZrRPCMessageFromClient::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_xid);
    zrxdr::PutU32(out, ZrRPCEnum::Call);
    m_body.PackTo(out);
}

ZrUniString ZrRPCMessageFromClient::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "xid", m_xid);
    DebugLine(text, indent, "mtype", ZrRPCEnum::Call);
    text.Append(m_body.DebugString(indent + 1));
    return text;
}

// ZrRPCAccepted

ZrRPCAccepted::ZrRPCAccepted(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

bool ZrRPCAccepted::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!m_verifier.Read(data, remaining) || !zrxdr::GetU32(data, remaining, m_status))
        return ReadDone(false);
    m_data.Clear();
    if (m_status == ZrRPCEnum::ProgMismatch) {
        if (!zrxdr::GetU32(data, remaining, m_low) || !zrxdr::GetU32(data, remaining, m_high))
            return ReadDone(false);
    } else if (m_status == ZrRPCEnum::Success) {
        m_data = TakeRest(data, remaining);
    }
    return ReadDone(true);
}

unsigned long ZrRPCAccepted::PackedSize() const {
    unsigned long size = m_verifier.PackedSize() + 4;
    if (m_status == ZrRPCEnum::ProgMismatch)
        size += 8;
    else if (m_status == ZrRPCEnum::Success)
        size += static_cast<unsigned long>(m_data.Length());
    return size;
}

void ZrRPCAccepted::PackTo(unsigned char*& out) const {
    m_verifier.PackTo(out);
    zrxdr::PutU32(out, m_status);
    if (m_status == ZrRPCEnum::ProgMismatch) {
        zrxdr::PutU32(out, m_low);
        zrxdr::PutU32(out, m_high);
    } else if (m_status == ZrRPCEnum::Success) {
        PutBytes(out, m_data);
    }
}

ZrUniString ZrRPCAccepted::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugIndent(text, indent);
    text.Append(ZrUniString("verifier:\n")).Append(m_verifier.DebugString(indent + 1));
    DebugLine(text, indent, "accept_stat", m_status);
    if (m_status == ZrRPCEnum::ProgMismatch) {
        DebugLine(text, indent, "low", m_low);
        DebugLine(text, indent, "high", m_high);
    } else if (m_status == ZrRPCEnum::Success) {
        DebugLine(text, indent, "data bytes", m_data.Length());
    }
    return text;
}

bool ZrRPCAccepted::operator==(const ZrRPCAccepted& other) const {
    if (!(m_verifier == other.m_verifier) || m_status != other.m_status)
        return false;
    if (m_status == ZrRPCEnum::ProgMismatch)
        return m_low == other.m_low && m_high == other.m_high;
    return m_status != ZrRPCEnum::Success || m_data == other.m_data;
}

// ZrRPCRejected

ZrRPCRejected::ZrRPCRejected(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

bool ZrRPCRejected::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!zrxdr::GetU32(data, remaining, m_status))
        return ReadDone(false);
    if (m_status == ZrRPCEnum::RpcMismatch)
        return ReadDone(zrxdr::GetU32(data, remaining, m_low) && zrxdr::GetU32(data, remaining, m_high));
    if (m_status == ZrRPCEnum::AuthError)
        return ReadDone(zrxdr::GetU32(data, remaining, m_authStatus));
    return ReadDone(false);
}

void ZrRPCRejected::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_status);
    if (m_status == ZrRPCEnum::RpcMismatch) {
        zrxdr::PutU32(out, m_low);
        zrxdr::PutU32(out, m_high);
    } else {
        zrxdr::PutU32(out, m_authStatus);
    }
}

ZrUniString ZrRPCRejected::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "reject_stat", m_status);
    if (m_status == ZrRPCEnum::RpcMismatch) {
        DebugLine(text, indent, "low", m_low);
        DebugLine(text, indent, "high", m_high);
    } else {
        DebugLine(text, indent, "auth_stat", m_authStatus);
    }
    return text;
}

bool ZrRPCRejected::operator==(const ZrRPCRejected& other) const {
    if (m_status != other.m_status)
        return false;
    if (m_status == ZrRPCEnum::RpcMismatch)
        return m_low == other.m_low && m_high == other.m_high;
    return m_authStatus == other.m_authStatus;
}

// ZrRPCReplyBody

ZrRPCReplyBody::ZrRPCReplyBody(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

void ZrRPCReplyBody::accepted(const ZrRPCAccepted& value) {
    m_status = ZrRPCEnum::MsgAccepted;
    m_accepted = value;
    Changed();
}

void ZrRPCReplyBody::rejected(const ZrRPCRejected& value) {
    m_status = ZrRPCEnum::MsgDenied;
    m_rejected = value;
    Changed();
}

bool ZrRPCReplyBody::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!zrxdr::GetU32(data, remaining, m_status))
        return ReadDone(false);
    if (m_status == ZrRPCEnum::MsgAccepted)
        return ReadDone(m_accepted.Read(data, remaining));
    if (m_status == ZrRPCEnum::MsgDenied)
        return ReadDone(m_rejected.Read(data, remaining));
    return ReadDone(false);
}

unsigned long ZrRPCReplyBody::PackedSize() const {
    return 4 + (m_status == ZrRPCEnum::MsgAccepted ? m_accepted.PackedSize() : m_rejected.PackedSize());
}

void ZrRPCReplyBody::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_status);
    if (m_status == ZrRPCEnum::MsgAccepted)
        m_accepted.PackTo(out);
    else
        m_rejected.PackTo(out);
}

ZrUniString ZrRPCReplyBody::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "reply_stat", m_status);
    text.Append(m_status == ZrRPCEnum::MsgAccepted ? m_accepted.DebugString(indent + 1)
                                                   : m_rejected.DebugString(indent + 1));
    return text;
}

bool ZrRPCReplyBody::operator==(const ZrRPCReplyBody& other) const {
    if (m_status != other.m_status)
        return false;
    return m_status == ZrRPCEnum::MsgAccepted ? m_accepted == other.m_accepted
                                              : m_rejected == other.m_rejected;
}

// ZrRPCMessageFromServer

ZrRPCMessageFromServer::ZrRPCMessageFromServer(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

bool ZrRPCMessageFromServer::Read(const unsigned char*& data, unsigned long& remaining) {
    uint32_t type;
    if (!zrxdr::GetU32(data, remaining, m_xid) || !zrxdr::GetU32(data, remaining, type) ||
        type != ZrRPCEnum::Reply || !m_body.Read(data, remaining))
        return ReadDone(false);
    return ReadDone(true);
}

void ZrRPCMessageFromServer::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_xid);
    zrxdr::PutU32(out, ZrRPCEnum::Reply);
    m_body.PackTo(out);
}

ZrUniString ZrRPCMessageFromServer::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "xid", m_xid);
    DebugLine(text, indent, "mtype", ZrRPCEnum::Reply);
    text.Append(m_body.DebugString(indent + 1));
    return text;
}
