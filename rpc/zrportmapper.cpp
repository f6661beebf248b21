#include "rpc/zrportmapper.h"

#include "rpc/zrxdr.h"

void ZrPortMapping::Set(uint32_t prog, uint32_t vers, uint32_t prot, uint32_t port) {
    m_prog = prog;
    m_vers = vers;
    m_prot = prot;
    m_port = port;
    Changed();
}

bool ZrPortMapping::Read(const unsigned char*& data, unsigned long& remaining) {
    // All four words or nothing: a short record consumes no bytes.
    if (remaining < 16)
        return ReadDone(false);
    // The length check above covers all four.
    (void)zrxdr::GetU32(data, remaining, m_prog);
    (void)zrxdr::GetU32(data, remaining, m_vers);
    (void)zrxdr::GetU32(data, remaining, m_prot);
    (void)zrxdr::GetU32(data, remaining, m_port);
    return ReadDone(true);
}

void ZrPortMapping::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_prog);
    zrxdr::PutU32(out, m_vers);
    zrxdr::PutU32(out, m_prot);
    zrxdr::PutU32(out, m_port);
}

ZrUniString ZrPortMapping::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "prog", m_prog);
    DebugLine(text, indent, "vers", m_vers);
    DebugLine(text, indent, "prot", m_prot);
    DebugLine(text, indent, "port", m_port);
    return text;
}

bool ZrPortMapperResponse::Read(const unsigned char*& data, unsigned long& remaining) {
    return ReadDone(zrxdr::GetU32(data, remaining, m_port));
}

void ZrPortMapperResponse::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_port);
}

ZrUniString ZrPortMapperResponse::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "port", m_port);
    return text;
}
