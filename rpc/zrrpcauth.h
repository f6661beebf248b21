// Authentication records of ONC RPC: ZrRPCGroup, ZrRPCUnixAuth (the AUTH_UNIX body) and
// ZrRPCAuthBlock (opaque_auth). Values; Read fails on a shortage and on any flavour but none
// (with an empty body) and Unix (with a body that reads as ZrRPCUnixAuth).
#pragma once

#include <memory>
#include <vector>

#include "rpc/zrrecord.h"
#include "rpc/zrrpcenum.h"

class ZrRPCGroup : public ZrRecord<ZrRPCGroup> {
public:
    ZrRPCGroup(uint32_t gid = 0) : m_gid(gid) {}

    uint32_t gid() const { return m_gid; }
    void gid(uint32_t value) { Assign(m_gid, value); }

private:
    friend ZrRecord<ZrRPCGroup>;
    template <class Self, class F> static void Fields(Self& self, F& field) { field("gid", self.m_gid); }

    uint32_t m_gid;
};

class ZrRPCUnixAuth : public ZrRecord<ZrRPCUnixAuth> {
public:
    ZrRPCUnixAuth() = default;
    explicit ZrRPCUnixAuth(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCUnixAuth(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    uint32_t stamp() const { return m_stamp; }
    void stamp(uint32_t value) { Assign(m_stamp, value); }
    const ZrRPCString& machinename() const { return m_machinename; }
    void machinename(const ZrRPCString& value) { Assign(m_machinename, value); }
    uint32_t uid() const { return m_uid; }
    void uid(uint32_t value) { Assign(m_uid, value); }
    uint32_t gid() const { return m_gid; }
    void gid(uint32_t value) { Assign(m_gid, value); }
    const std::vector<ZrRPCGroup>& grouplist() const { return m_grouplist; }
    void grouplist(const std::vector<ZrRPCGroup>& value) { Assign(m_grouplist, value); }

private:
    friend ZrRecord<ZrRPCUnixAuth>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("stamp", self.m_stamp);
        field("machinename", self.m_machinename);
        field("uid", self.m_uid);
        field("gid", self.m_gid);
        field("groups", self.m_grouplist);
    }

    uint32_t m_stamp = 0;
    ZrRPCString m_machinename;
    uint32_t m_uid = 0;
    uint32_t m_gid = 0;
    std::vector<ZrRPCGroup> m_grouplist;
};

class ZrRPCAuthBlock : public ZrPacket {
public:
    explicit ZrRPCAuthBlock(uint32_t flavour = ZrRPCEnum::AuthNone) : m_flavour(flavour) {}
    explicit ZrRPCAuthBlock(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrRPCAuthBlock(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    uint32_t flavour() const { return m_flavour; }
    void flavour(uint32_t value) {
        m_flavour = value;
        Changed();
    }
    // The Unix body; packed only when the flavour is AuthUnix. An empty body when none was given.
    const ZrRPCUnixAuth& auth_body() const;
    void auth_body(const ZrRPCUnixAuth& value) {
        m_body = std::make_shared<const ZrRPCUnixAuth>(value);
        Changed();
    }
    // The body length word as packed: the Unix body's size, or 0.
    uint32_t BodyLength() const;

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return 8 + BodyLength(); }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    // Flavour and, for Unix blocks, the body.
    bool operator==(const ZrRPCAuthBlock& other) const;
    bool operator!=(const ZrRPCAuthBlock& other) const { return !(*this == other); }

private:
    uint32_t m_flavour = ZrRPCEnum::AuthNone;
    // Shared and never changed in place: copies of a block (a call carries two) cost a count, and a
    // block without a Unix body carries no body object at all.
    std::shared_ptr<const ZrRPCUnixAuth> m_body;
};
