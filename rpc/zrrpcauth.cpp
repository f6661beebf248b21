#include "rpc/zrrpcauth.h"

#include "rpc/zrxdr.h"

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
