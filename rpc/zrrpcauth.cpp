#include "rpc/zrrpcauth.h"

#include "rpc/zrxdr.h"

bool ZrRPCGroup::Read(const unsigned char*& data, unsigned long& remaining) {
    return ReadDone(zrxdr::GetU32(data, remaining, m_gid));
}

void ZrRPCGroup::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_gid);
}

ZrUniString ZrRPCGroup::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "gid", m_gid);
    return text;
}

ZrRPCUnixAuth::ZrRPCUnixAuth(const ZrPacket& packet) {
    ReadFromPacket(packet);
}

bool ZrRPCUnixAuth::Read(const unsigned char*& data, unsigned long& remaining) {
    uint32_t count;
    if (!zrxdr::GetU32(data, remaining, m_stamp) || !m_machinename.Read(data, remaining) ||
        !zrxdr::GetU32(data, remaining, m_uid) || !zrxdr::GetU32(data, remaining, m_gid) ||
        !zrxdr::GetU32(data, remaining, count))
        return ReadDone(false);
    // Checked before reserving, so a hostile count cannot ask for gigabytes.
    if (uint64_t(count) * 4 > remaining)
        return ReadDone(false);
    m_grouplist.clear();
    m_grouplist.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        ZrRPCGroup group;
        (void)group.Read(data, remaining); // four bytes each, checked for all of them above
        m_grouplist.push_back(group);
    }
    return ReadDone(true);
}

unsigned long ZrRPCUnixAuth::PackedSize() const {
    return 4 + m_machinename.PackedSize() + 4 + 4 + 4 + 4 * static_cast<unsigned long>(m_grouplist.size());
}

void ZrRPCUnixAuth::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_stamp);
    m_machinename.PackTo(out);
    zrxdr::PutU32(out, m_uid);
    zrxdr::PutU32(out, m_gid);
    zrxdr::PutU32(out, static_cast<uint32_t>(m_grouplist.size()));
    for (const ZrRPCGroup& group : m_grouplist)
        group.PackTo(out);
}

ZrUniString ZrRPCUnixAuth::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "stamp", m_stamp);
    DebugLine(text, indent, "machinename", m_machinename.Text());
    DebugLine(text, indent, "uid", m_uid);
    DebugLine(text, indent, "gid", m_gid);
    DebugLine(text, indent, "groups", m_grouplist.size());
    for (const ZrRPCGroup& group : m_grouplist)
        text.Append(group.DebugString(indent + 1));
    return text;
}

bool ZrRPCUnixAuth::operator==(const ZrRPCUnixAuth& other) const {
    return m_stamp == other.m_stamp && m_machinename == other.m_machinename && m_uid == other.m_uid &&
           m_gid == other.m_gid && m_grouplist == other.m_grouplist;
}

ZrRPCAuthBlock::ZrRPCAuthBlock(const ZrPacket& packet) : m_flavour(ZrRPCEnum::AuthNone) {
    ReadFromPacket(packet);
}

const ZrRPCUnixAuth& ZrRPCAuthBlock::auth_body() const {
    static const ZrRPCUnixAuth empty;
    return m_body ? *m_body : empty;
}

uint32_t ZrRPCAuthBlock::BodyLength() const {
    return m_flavour == ZrRPCEnum::AuthUnix ? static_cast<uint32_t>(auth_body().PackedSize()) : 0;
}

bool ZrRPCAuthBlock::Read(const unsigned char*& data, unsigned long& remaining) {
    const unsigned char* body;
    uint32_t length;
    if (!zrxdr::GetU32(data, remaining, m_flavour) || !zrxdr::GetOpaque(data, remaining, body, length))
        return ReadDone(false);
    if (m_flavour == ZrRPCEnum::AuthNone)
        return ReadDone(length == 0);
    if (m_flavour != ZrRPCEnum::AuthUnix)
        return ReadDone(false);
    // The Unix body must fit inside the declared length.
    unsigned long left = length;
    auto parsed = std::make_shared<ZrRPCUnixAuth>();
    if (!parsed->Read(body, left))
        return ReadDone(false);
    m_body = std::move(parsed);
    return ReadDone(true);
}

void ZrRPCAuthBlock::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_flavour);
    zrxdr::PutU32(out, BodyLength());
    if (m_flavour == ZrRPCEnum::AuthUnix)
        auth_body().PackTo(out);
}

ZrUniString ZrRPCAuthBlock::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "flavour", m_flavour);
    DebugLine(text, indent, "length", BodyLength());
    if (m_flavour == ZrRPCEnum::AuthUnix)
        text.Append(auth_body().DebugString(indent + 1));
    return text;
}

bool ZrRPCAuthBlock::operator==(const ZrRPCAuthBlock& other) const {
    return m_flavour == other.m_flavour &&
           (m_flavour != ZrRPCEnum::AuthUnix || auth_body() == other.auth_body());
}
