// The ONC RPC version 2 call and reply records: ZrRPCCallBody, ZrRPCMessageFromClient, ZrRPCAccepted,
// ZrRPCRejected, ZrRPCReplyBody and ZrRPCMessageFromServer. Values; Read fails on a shortage, a bad
// authentication block, a wrong message type, or a reply or reject status it does not know.
#pragma once

#include "rpc/zrrpcauth.h"

class ZrRPCCallBody : public ZrPacket {
public:
    ZrRPCCallBody() = default;
    explicit ZrRPCCallBody(const ZrPacket& packet);
    ZrRPCCallBody(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t rpcvers() const { return m_rpcvers; }
    void rpcvers(uint32_t value) { Set(m_rpcvers, value); }
    uint32_t prog() const { return m_prog; }
    void prog(uint32_t value) { Set(m_prog, value); }
    uint32_t vers() const { return m_vers; }
    void vers(uint32_t value) { Set(m_vers, value); }
    uint32_t proc() const { return m_proc; }
    void proc(uint32_t value) { Set(m_proc, value); }
    const ZrRPCAuthBlock& credentials() const { return m_credentials; }
    void credentials(const ZrRPCAuthBlock& value);
    const ZrRPCAuthBlock& verifier() const { return m_verifier; }
    void verifier(const ZrRPCAuthBlock& value);
    // The argument record's packed bytes, carried as they are (no length word); on reading, all
    // bytes after the verifier.
    const ZrByteBuffer& rpc_data() const { return m_data; }
    void rpc_data(const ZrByteBuffer& value);
    void rpc_data(const ZrPacket& record) { rpc_data(record.Packed()); }

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCCallBody& other) const;
    bool operator!=(const ZrRPCCallBody& other) const { return !(*this == other); }

private:
    void Set(uint32_t& field, uint32_t value) {
        field = value;
        Changed();
    }

    uint32_t m_rpcvers = ZrRPCEnum::RpcVersion;
    uint32_t m_prog = 0;
    uint32_t m_vers = 0;
    uint32_t m_proc = 0;
    ZrRPCAuthBlock m_credentials;
    ZrRPCAuthBlock m_verifier;
    ZrByteBuffer m_data;
};

class ZrRPCMessageFromClient : public ZrPacket {
public:
    ZrRPCMessageFromClient() = default;
    explicit ZrRPCMessageFromClient(const ZrPacket& packet);
    ZrRPCMessageFromClient(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t xid() const { return m_xid; }
    void xid(uint32_t value) {
        m_xid = value;
        Changed();
    }
    uint32_t mtype() const { return ZrRPCEnum::Call; }
    const ZrRPCCallBody& call_body() const { return m_body; }
    void call_body(const ZrRPCCallBody& value) {
        m_body = value;
        Changed();
    }
    void call_body(ZrRPCCallBody&& value) {
        m_body = std::move(value);
        Changed();
    }

    // Fails unless the message type is a call.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return 8 + m_body.PackedSize(); }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCMessageFromClient& other) const {
        return m_xid == other.m_xid && m_body == other.m_body;
    }
    bool operator!=(const ZrRPCMessageFromClient& other) const { return !(*this == other); }

private:
    uint32_t m_xid = 0;
    ZrRPCCallBody m_body;
};

class ZrRPCAccepted : public ZrPacket {
public:
    ZrRPCAccepted() = default;
    explicit ZrRPCAccepted(const ZrPacket& packet);
    ZrRPCAccepted(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    const ZrRPCAuthBlock& verifier() const { return m_verifier; }
    void verifier(const ZrRPCAuthBlock& value) {
        m_verifier = value;
        Changed();
    }
    uint32_t accept_stat() const { return m_status; }
    void accept_stat(uint32_t value) {
        m_status = value;
        Changed();
    }
    // Supported program versions, on the wire for ProgMismatch only.
    uint32_t low() const { return m_low; }
    uint32_t high() const { return m_high; }
    void mismatch(uint32_t low, uint32_t high) {
        m_low = low;
        m_high = high;
        Changed();
    }
    // The result record, on the wire for Success only: every byte after the status.
    const ZrByteBuffer& rpc_data() const { return m_data; }
    void rpc_data(const ZrByteBuffer& value) {
        m_data = value;
        Changed();
    }
    void rpc_data(const ZrPacket& record) { rpc_data(record.Packed()); }

    // Unknown accept statuses read as a status with nothing after it.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCAccepted& other) const;
    bool operator!=(const ZrRPCAccepted& other) const { return !(*this == other); }

private:
    ZrRPCAuthBlock m_verifier;
    uint32_t m_status = ZrRPCEnum::Success;
    uint32_t m_low = 0;
    uint32_t m_high = 0;
    ZrByteBuffer m_data;
};

class ZrRPCRejected : public ZrPacket {
public:
    ZrRPCRejected() = default;
    explicit ZrRPCRejected(const ZrPacket& packet);
    ZrRPCRejected(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t reject_stat() const { return m_status; }
    void reject_stat(uint32_t value) {
        m_status = value;
        Changed();
    }
    // Supported RPC versions, for RpcMismatch.
    uint32_t low() const { return m_low; }
    uint32_t high() const { return m_high; }
    void mismatch(uint32_t low, uint32_t high) {
        m_low = low;
        m_high = high;
        Changed();
    }
    // The authentication status, for AuthError.
    uint32_t auth_stat() const { return m_authStatus; }
    void auth_stat(uint32_t value) {
        m_authStatus = value;
        Changed();
    }

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return 4 + (m_status == ZrRPCEnum::RpcMismatch ? 8 : 4); }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCRejected& other) const;
    bool operator!=(const ZrRPCRejected& other) const { return !(*this == other); }

private:
    uint32_t m_status = ZrRPCEnum::AuthError;
    uint32_t m_low = 0;
    uint32_t m_high = 0;
    uint32_t m_authStatus = 0;
};

class ZrRPCReplyBody : public ZrPacket {
public:
    ZrRPCReplyBody() = default;
    explicit ZrRPCReplyBody(const ZrPacket& packet);
    ZrRPCReplyBody(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t reply_stat() const { return m_status; }
    void reply_stat(uint32_t value) {
        m_status = value;
        Changed();
    }
    const ZrRPCAccepted& accepted() const { return m_accepted; }
    // Also makes the reply an accepted one.
    void accepted(const ZrRPCAccepted& value);
    const ZrRPCRejected& rejected() const { return m_rejected; }
    // Also makes the reply a denied one.
    void rejected(const ZrRPCRejected& value);

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCReplyBody& other) const;
    bool operator!=(const ZrRPCReplyBody& other) const { return !(*this == other); }

private:
    uint32_t m_status = ZrRPCEnum::MsgAccepted;
    ZrRPCAccepted m_accepted;
    ZrRPCRejected m_rejected;
};

class ZrRPCMessageFromServer : public ZrPacket {
public:
    ZrRPCMessageFromServer() = default;
    explicit ZrRPCMessageFromServer(const ZrPacket& packet);
    ZrRPCMessageFromServer(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t xid() const { return m_xid; }
    void xid(uint32_t value) {
        m_xid = value;
        Changed();
    }
    uint32_t mtype() const { return ZrRPCEnum::Reply; }
    const ZrRPCReplyBody& reply_body() const { return m_body; }
    void reply_body(const ZrRPCReplyBody& value) {
        m_body = value;
        Changed();
    }

    // Fails unless the message type is a reply.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return 8 + m_body.PackedSize(); }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    bool operator==(const ZrRPCMessageFromServer& other) const {
        return m_xid == other.m_xid && m_body == other.m_body;
    }
    bool operator!=(const ZrRPCMessageFromServer& other) const { return !(*this == other); }

private:
    uint32_t m_xid = 0;
    ZrRPCReplyBody m_body;
};
