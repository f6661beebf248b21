#include "rpc/zrsmbnfsresponse.h"

#include "rpc/zrxdr.h"

void ZrSMBNFSResponse::command(uint32_t value) {
    m_command = value;
    SetValid(true);
    Changed();
}

void ZrSMBNFSResponse::Set(ZrControlString& field, const ZrControlString& value) {
    field = value;
    SetValid(true);
    Changed();
}

void ZrSMBNFSResponse::sessions(const SessionList& value) {
    m_sessions = value;
    SetValid(true);
    Changed();
}

void ZrSMBNFSResponse::result(uint32_t value) {
    m_result = value;
    SetValid(true);
    Changed();
}

bool ZrSMBNFSResponse::Read(const unsigned char*& data, unsigned long& remaining) {
    if (!zrxdr::GetU32(data, remaining, m_command))
        return ReadDone(false);
    m_sessions.Flush();
    switch (m_command) {
    case kSMBNFSGetConfig:
        if (!m_config.Read(data, remaining))
            return ReadDone(false);
        break;
    case kSMBNFSListSessions: {
        uint32_t count;
        if (!zrxdr::GetU32(data, remaining, count))
            return ReadDone(false);
        // Every entry takes at least three bytes, so a hostile count ends at the first shortage.
        for (uint32_t i = 0; i < count; ++i) {
            ZrSMBNFSSessionInfo entry;
            if (!entry.Read(data, remaining))
                return ReadDone(false);
            m_sessions.InsertNonConst(std::move(entry));
        }
        break;
    }
    case kSMBNFSRegisterDisplay:
        if (!zrxdr::GetU32(data, remaining, m_result) || !m_display.Read(data, remaining))
            return ReadDone(false);
        break;
    case kSMBNFSUnregisterUser:
        if (!zrxdr::GetU32(data, remaining, m_result))
            return ReadDone(false);
        break;
    default:
        break;
    }
    return ReadDone(m_error.Read(data, remaining));
}

unsigned long ZrSMBNFSResponse::PackedSize() const {
    unsigned long size = 4;
    switch (m_command) {
    case kSMBNFSGetConfig:
        size += m_config.PackedSize();
        break;
    case kSMBNFSListSessions:
        size += 4;
        for (const ZrSMBNFSSessionInfo& entry : m_sessions)
            size += entry.PackedSize();
        break;
    case kSMBNFSRegisterDisplay:
        size += 4 + m_display.PackedSize();
        break;
    case kSMBNFSUnregisterUser:
        size += 4;
        break;
    default:
        break;
    }
    return size + m_error.PackedSize();
}

void ZrSMBNFSResponse::PackTo(unsigned char*& out) const {
    zrxdr::PutU32(out, m_command);
    switch (m_command) {
    case kSMBNFSGetConfig:
        m_config.PackTo(out);
        break;
    case kSMBNFSListSessions:
        zrxdr::PutU32(out, m_sessions.Count());
        for (const ZrSMBNFSSessionInfo& entry : m_sessions)
            entry.PackTo(out);
        break;
    case kSMBNFSRegisterDisplay:
        zrxdr::PutU32(out, m_result);
        m_display.PackTo(out);
        break;
    case kSMBNFSUnregisterUser:
        zrxdr::PutU32(out, m_result);
        break;
    default:
        break;
    }
    m_error.PackTo(out);
}

ZrUniString ZrSMBNFSResponse::DebugString(unsigned indent) const {
    ZrUniString text;
    DebugLine(text, indent, "command", m_command);
    switch (m_command) {
    case kSMBNFSGetConfig:
        DebugLine(text, indent, "config", m_config.Text());
        break;
    case kSMBNFSListSessions:
        DebugLine(text, indent, "sessions", m_sessions.Count());
        for (const ZrSMBNFSSessionInfo& entry : m_sessions)
            text.Append(entry.DebugString(indent + 1));
        break;
    case kSMBNFSRegisterDisplay:
        DebugLine(text, indent, "result", m_result);
        DebugLine(text, indent, "display", m_display.Text());
        break;
    case kSMBNFSUnregisterUser:
        DebugLine(text, indent, "result", m_result);
        break;
    default:
        break;
    }
    DebugLine(text, indent, "error", m_error.Text());
    return text;
}

bool ZrSMBNFSResponse::operator==(const ZrSMBNFSResponse& other) const {
    if (m_command != other.m_command || m_error != other.m_error)
        return false;
    switch (m_command) {
    case kSMBNFSGetConfig:
        return m_config == other.m_config;
    case kSMBNFSListSessions: {
        if (m_sessions.Count() != other.m_sessions.Count())
            return false;
        auto mine = m_sessions.begin();
        for (const ZrSMBNFSSessionInfo& entry : other.m_sessions) {
            if (!(*mine == entry))
                return false;
            ++mine;
        }
        return true;
    }
    case kSMBNFSRegisterDisplay:
        return m_result == other.m_result && m_display == other.m_display;
    case kSMBNFSUnregisterUser:
        return m_result == other.m_result;
    default:
        return true;
    }
}
