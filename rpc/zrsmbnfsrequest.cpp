#include "rpc/zrsmbnfsrequest.h"

#include "rpc/zrxdr.h"

void ZrSMBNFSRequest::command(uint32_t value) {
    m_command = value;
    SetValid(true);
    Changed();
}

void ZrSMBNFSRequest::Set(ZrControlString& field, const ZrControlString& value) {
    field = value;
    SetValid(true);
    Changed();
}

const ZrControlString* ZrSMBNFSRequest::Extra() const {
    switch (m_command) {
    case kSMBNFSFlushSession:
        return &m_machine;
    case kSMBNFSSetConfig:
        return &m_config;
    case kSMBNFSRegisterDisplay:
        return &m_display;
    default:
        return nullptr;
    }
}

ZrControlString* ZrSMBNFSRequest::Extra() {
    return const_cast<ZrControlString*>(static_cast<const ZrSMBNFSRequest*>(this)->Extra());
}

bool ZrSMBNFSRequest::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!zrxdr::GetU32(data, remaining, m_command) || !m_user.Read(data, remaining))
        return ReadDone(false);
    ZrControlString* extra = Extra();
    return ReadDone(!extra || extra->Read(data, remaining));
}

unsigned long ZrSMBNFSRequest::PackedSize() const {
    const ZrControlString* extra = Extra();
    return 4 + m_user.PackedSize() + (extra ? extra->PackedSize() : 0);
}

void ZrSMBNFSRequest::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_command);
    m_user.PackTo(out);
    if (const ZrControlString* extra = Extra())
        extra->PackTo(out);
}

ZrUniString ZrSMBNFSRequest::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "command", m_command);
    DebugLine(text, indent, "user", m_user.Text());
    if (const ZrControlString* extra = Extra())
        DebugLine(text, indent,
                  m_command == kSMBNFSFlushSession ? "machine"
                  : m_command == kSMBNFSSetConfig  ? "config"
                                                   : "display",
                  extra->Text());
    return text;
}

bool ZrSMBNFSRequest::operator==(const ZrSMBNFSRequest& other) const {
    if (m_command != other.m_command || m_user != other.m_user)
        return false;
    const ZrControlString* extra = Extra();
    return !extra || *extra == *other.Extra();
}
