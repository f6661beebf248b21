#include "rpc/zrsmbnfssessioninfo.h"

#include "rpc/zrxdr.h"

void ZrSMBNFSSessionInfo::name(const ZrControlString& value) {
    m_name = value;
    SetValid(true);
    Changed();
}

void ZrSMBNFSSessionInfo::details(const Details& value) {
    m_details = value;
    m_hasDetails = true;
    SetValid(true);
    Changed();
}

void ZrSMBNFSSessionInfo::ClearDetails() {
    m_details = Details{};
    m_hasDetails = false;
    Changed();
}

bool ZrSMBNFSSessionInfo::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!m_name.Read(data, remaining) || remaining < 1)
        return ReadDone(false);
    m_hasDetails = *data != 0;
    ++data;
    --remaining;
    m_details = Details{};
    if (m_hasDetails) {
        if (remaining < 20)
            return ReadDone(false);
        for (uint32_t& word : m_details)
            (void)zrxdr::GetU32(data, remaining, word); // all five fit, checked above
    }
    return ReadDone(true);
}

void ZrSMBNFSSessionInfo::PackTo(unsigned char*& out) const {
    m_name.PackTo(out);
    *out++ = m_hasDetails ? 1 : 0;
    if (m_hasDetails)
        for (uint32_t word : m_details)
            zrxdr::PutU32(out, word);
}

ZrUniString ZrSMBNFSSessionInfo::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "name", m_name.Text());
    DebugIndent(text, indent);
    text.Append(ZrUniString("details: "));
    DebugOutBool(text, m_hasDetails);
    text.Append(u'\n');
    if (m_hasDetails)
        for (uint32_t word : m_details)
            DebugLine(text, indent + 1, "word", word);
    return text;
}

bool ZrSMBNFSSessionInfo::operator==(const ZrSMBNFSSessionInfo& other) const {
    return m_name == other.m_name && m_hasDetails == other.m_hasDetails && m_details == other.m_details;
}
