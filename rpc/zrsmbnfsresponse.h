// ZrSMBNFSResponse: the result record of a file-server control call: the command code, the fields
// that command returns and the server's error text (empty on success). A value; Read fails on any
// shortage or missing terminator, and then the record is not valid.
#pragma once

#include "foundation/container/zrdlist.h"
#include "rpc/zrsmbnfsrequest.h"
#include "rpc/zrsmbnfssessioninfo.h"

class ZrSMBNFSResponse : public ZrRecord<ZrSMBNFSResponse> {
public:
    using SessionList = ZrDList<ZrSMBNFSSessionInfo>;

    explicit ZrSMBNFSResponse(uint32_t command = 0) : m_command(command) {}
    explicit ZrSMBNFSResponse(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrSMBNFSResponse(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    // The setters also make the record valid.
    uint32_t command() const { return m_command; }
    void command(uint32_t value) { Set(m_command, value); }
    // On the wire for 103.
    const ZrControlString& config() const { return m_config; }
    void config(const ZrControlString& value) { Set(m_config, value); }
    // On the wire for 104, preceded by their count.
    const SessionList& sessions() const { return m_sessions; }
    void sessions(const SessionList& value) { Set(m_sessions, value); }
    // On the wire for 105 and 106; carried, never interpreted here.
    uint32_t result() const { return m_result; }
    void result(uint32_t value) { Set(m_result, value); }
    // On the wire for 105.
    const ZrControlString& display() const { return m_display; }
    void display(const ZrControlString& value) { Set(m_display, value); }
    // Always on the wire, last.
    const ZrControlString& error() const { return m_error; }
    void error(const ZrControlString& value) { Set(m_error, value); }

    // Afterwards the session list holds exactly the entries read, none for other commands.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override {
        m_sessions.Flush();
        return ZrRecord::Read(data, remaining);
    }

private:
    friend ZrRecord<ZrSMBNFSResponse>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("command", self.m_command);
        switch (self.m_command) {
        case kSMBNFSGetConfig:
            field("config", self.m_config);
            break;
        case kSMBNFSListSessions:
            field("sessions", self.m_sessions);
            break;
        case kSMBNFSRegisterDisplay:
            field("result", self.m_result);
            field("display", self.m_display);
            break;
        case kSMBNFSUnregisterUser:
            field("result", self.m_result);
            break;
        default:
            break;
        }
        field("error", self.m_error);
    }

    template <class Field, class Value> void Set(Field& field, const Value& value) {
        Assign(field, value);
        SetValid(true);
    }

    uint32_t m_command = 0;
    ZrControlString m_config;
    SessionList m_sessions;
    uint32_t m_result = 0;
    ZrControlString m_display;
    ZrControlString m_error;
};
