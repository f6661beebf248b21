// The ONC RPC version 2 call and reply records: ZrRPCCallBody, ZrRPCMessageFromClient, ZrRPCAccepted,
// ZrRPCRejected, ZrRPCReplyBody and ZrRPCMessageFromServer. Values; Read fails on a shortage, a bad
// authentication block, a wrong message type, or a reply or reject status it does not know.
#pragma once

#include "rpc/zrrpcauth.h"

class ZrRPCCallBody : public ZrRecord<ZrRPCCallBody> {
public:
    ZrRPCCallBody() = default;
    explicit ZrRPCCallBody(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCCallBody(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    uint32_t rpcvers() const { return m_rpcvers; }
    void rpcvers(uint32_t value) { Assign(m_rpcvers, value); }
    uint32_t prog() const { return m_prog; }
    void prog(uint32_t value) { Assign(m_prog, value); }
    uint32_t vers() const { return m_vers; }
    void vers(uint32_t value) { Assign(m_vers, value); }
    uint32_t proc() const { return m_proc; }
    void proc(uint32_t value) { Assign(m_proc, value); }
    const ZrRPCAuthBlock& credentials() const { return m_credentials; }
    void credentials(const ZrRPCAuthBlock& value) { Assign(m_credentials, value); }
    const ZrRPCAuthBlock& verifier() const { return m_verifier; }
    void verifier(const ZrRPCAuthBlock& value) { Assign(m_verifier, value); }
    // The argument record's packed bytes, carried as they are (no length word); on reading, all
    // bytes after the verifier.
    const ZrByteBuffer& rpc_data() const { return m_data; }
    void rpc_data(const ZrByteBuffer& value) { Assign(m_data, value); }
    void rpc_data(const ZrPacket& record) { rpc_data(record.Packed()); }

private:
    friend ZrRecord<ZrRPCCallBody>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("rpcvers", self.m_rpcvers);
        field("prog", self.m_prog);
        field("vers", self.m_vers);
        field("proc", self.m_proc);
        field("credentials", self.m_credentials);
        field("verifier", self.m_verifier);
        field("data bytes", zrrecord::Rest{self.m_data});
    }

    uint32_t m_rpcvers = ZrRPCEnum::RpcVersion;
    uint32_t m_prog = 0;
    uint32_t m_vers = 0;
    uint32_t m_proc = 0;
    ZrRPCAuthBlock m_credentials;
    ZrRPCAuthBlock m_verifier;
    ZrByteBuffer m_data;
};

// What both messages share: a transaction id, the message type and the body. Reading fails unless
// the message type is the one of the message.
template <class Derived, uint32_t Type, class Body> class ZrRPCEnvelope : public ZrRecord<Derived> {
public:
    uint32_t xid() const { return m_xid; }
    void xid(uint32_t value) { this->Assign(m_xid, value); }
    uint32_t mtype() const { return Type; }

protected:
    const Body& body() const { return m_body; }
    template <class Value> void body(Value&& value) { this->Assign(m_body, std::forward<Value>(value)); }

private:
    friend ZrRecord<Derived>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("xid", self.m_xid);
        field("mtype", zrrecord::Constant{Type});
        field("body", self.m_body);
    }

    uint32_t m_xid = 0;
    Body m_body;
};

class ZrRPCMessageFromClient : public ZrRPCEnvelope<ZrRPCMessageFromClient, ZrRPCEnum::Call, ZrRPCCallBody> {
public:
    ZrRPCMessageFromClient() = default;
    explicit ZrRPCMessageFromClient(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCMessageFromClient(const unsigned char*& data, unsigned long& remaining) {
        ReadFromBytes(data, remaining);
    }

    const ZrRPCCallBody& call_body() const { return body(); }
    void call_body(const ZrRPCCallBody& value) { body(value); }
    void call_body(ZrRPCCallBody&& value) { body(std::move(value)); }
};

// Unknown accept statuses read as a status with nothing after it.
class ZrRPCAccepted : public ZrRecord<ZrRPCAccepted> {
public:
    ZrRPCAccepted() = default;
    explicit ZrRPCAccepted(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCAccepted(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    const ZrRPCAuthBlock& verifier() const { return m_verifier; }
    void verifier(const ZrRPCAuthBlock& value) { Assign(m_verifier, value); }
    uint32_t accept_stat() const { return m_status; }
    void accept_stat(uint32_t value) { Assign(m_status, value); }
    // Supported program versions, on the wire for ProgMismatch only.
    uint32_t low() const { return m_low; }
    uint32_t high() const { return m_high; }
    void mismatch(uint32_t low, uint32_t high) {
        m_low = low;
        Assign(m_high, high);
    }
    // The result record, on the wire for Success only: every byte after the status.
    const ZrByteBuffer& rpc_data() const { return m_data; }
    void rpc_data(const ZrByteBuffer& value) { Assign(m_data, value); }
    void rpc_data(const ZrPacket& record) { rpc_data(record.Packed()); }

    // A reply without result data leaves none from an earlier read behind.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override {
        m_data.Clear();
        return ZrRecord::Read(data, remaining);
    }

private:
    friend ZrRecord<ZrRPCAccepted>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("verifier", self.m_verifier);
        field("accept_stat", self.m_status);
        if (self.m_status == ZrRPCEnum::ProgMismatch) {
            field("low", self.m_low);
            field("high", self.m_high);
        } else if (self.m_status == ZrRPCEnum::Success) {
            field("data bytes", zrrecord::Rest{self.m_data});
        }
    }

    ZrRPCAuthBlock m_verifier;
    uint32_t m_status = ZrRPCEnum::Success;
    uint32_t m_low = 0;
    uint32_t m_high = 0;
    ZrByteBuffer m_data;
};

class ZrRPCRejected : public ZrRecord<ZrRPCRejected> {
public:
    ZrRPCRejected() = default;
    explicit ZrRPCRejected(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCRejected(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    uint32_t reject_stat() const { return m_status; }
    void reject_stat(uint32_t value) { Assign(m_status, value); }
    // Supported RPC versions, for RpcMismatch.
    uint32_t low() const { return m_low; }
    uint32_t high() const { return m_high; }
    void mismatch(uint32_t low, uint32_t high) {
        m_low = low;
        Assign(m_high, high);
    }
    // The authentication status, for AuthError (and packed for any status but RpcMismatch).
    uint32_t auth_stat() const { return m_authStatus; }
    void auth_stat(uint32_t value) { Assign(m_authStatus, value); }

private:
    friend ZrRecord<ZrRPCRejected>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("reject_stat", self.m_status);
        if (self.m_status == ZrRPCEnum::RpcMismatch) {
            field("low", self.m_low);
            field("high", self.m_high);
        } else {
            field.Require(self.m_status == ZrRPCEnum::AuthError);
            field("auth_stat", self.m_authStatus);
        }
    }

    uint32_t m_status = ZrRPCEnum::AuthError;
    uint32_t m_low = 0;
    uint32_t m_high = 0;
    uint32_t m_authStatus = 0;
};

class ZrRPCReplyBody : public ZrRecord<ZrRPCReplyBody> {
public:
    ZrRPCReplyBody() = default;
    explicit ZrRPCReplyBody(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCReplyBody(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    uint32_t reply_stat() const { return m_status; }
    void reply_stat(uint32_t value) { Assign(m_status, value); }
    const ZrRPCAccepted& accepted() const { return m_accepted; }
    // Also makes the reply an accepted one.
    void accepted(const ZrRPCAccepted& value) {
        m_status = ZrRPCEnum::MsgAccepted;
        Assign(m_accepted, value);
    }
    const ZrRPCRejected& rejected() const { return m_rejected; }
    // Also makes the reply a denied one.
    void rejected(const ZrRPCRejected& value) {
        m_status = ZrRPCEnum::MsgDenied;
        Assign(m_rejected, value);
    }

private:
    friend ZrRecord<ZrRPCReplyBody>;
    // Any status but accepted packs the rejected body; only denied reads it.
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("reply_stat", self.m_status);
        if (self.m_status == ZrRPCEnum::MsgAccepted) {
            field("accepted", self.m_accepted);
        } else {
            field.Require(self.m_status == ZrRPCEnum::MsgDenied);
            field("rejected", self.m_rejected);
        }
    }

    uint32_t m_status = ZrRPCEnum::MsgAccepted;
    ZrRPCAccepted m_accepted;
    ZrRPCRejected m_rejected;
};

class ZrRPCMessageFromServer
    : public ZrRPCEnvelope<ZrRPCMessageFromServer, ZrRPCEnum::Reply, ZrRPCReplyBody> {
public:
    ZrRPCMessageFromServer() = default;
    explicit ZrRPCMessageFromServer(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCMessageFromServer(const unsigned char*& data, unsigned long& remaining) {
        ReadFromBytes(data, remaining);
    }

    const ZrRPCReplyBody& reply_body() const { return body(); }
    void reply_body(const ZrRPCReplyBody& value) { body(value); }
};
