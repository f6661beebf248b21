// ZrSMBNFSRequest: the argument record of a file-server control call: a command code, the user and,
// for some commands, one more text. A value; Read fails on a shortage or a missing terminator.
#pragma once

#include "rpc/zrrecord.h"

// The control commands, which are also the RPC procedure numbers.
enum ZrSMBNFSCommand : uint32_t {
    kSMBNFSFlushSession = 101,
    kSMBNFSSetConfig = 102,
    kSMBNFSGetConfig = 103,
    kSMBNFSListSessions = 104,
    kSMBNFSRegisterDisplay = 105,
    kSMBNFSUnregisterUser = 106,
};

class ZrSMBNFSRequest : public ZrRecord<ZrSMBNFSRequest> {
public:
    explicit ZrSMBNFSRequest(uint32_t command = 0) : m_command(command) {}
    explicit ZrSMBNFSRequest(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrSMBNFSRequest(const unsigned char*& data, unsigned long& remaining) { ReadFromBytes(data, remaining); }

    // The setters also make the record valid.
    uint32_t command() const { return m_command; }
    void command(uint32_t value) { Set(m_command, value); }
    const ZrControlString& user() const { return m_user; }
    void user(const ZrControlString& value) { Set(m_user, value); }
    // On the wire for 101 only.
    const ZrControlString& machine() const { return m_machine; }
    void machine(const ZrControlString& value) { Set(m_machine, value); }
    // On the wire for 102 only.
    const ZrControlString& config() const { return m_config; }
    void config(const ZrControlString& value) { Set(m_config, value); }
    // On the wire for 105 only.
    const ZrControlString& display() const { return m_display; }
    void display(const ZrControlString& value) { Set(m_display, value); }

private:
    friend ZrRecord<ZrSMBNFSRequest>;
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("command", self.m_command);
        field("user", self.m_user);
        if (self.m_command == kSMBNFSFlushSession)
            field("machine", self.m_machine);
        else if (self.m_command == kSMBNFSSetConfig)
            field("config", self.m_config);
        else if (self.m_command == kSMBNFSRegisterDisplay)
            field("display", self.m_display);
    }

    template <class Field, class Value> void Set(Field& field, const Value& value) {
        Assign(field, value);
        SetValid(true);
    }

    uint32_t m_command = 0;
    ZrControlString m_user;
    ZrControlString m_machine;
    ZrControlString m_config;
    ZrControlString m_display;
};
