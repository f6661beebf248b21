// ZrSMBNFSRequest: the argument record of a file-server control call: a command code, the user and,
// for some commands, one more text. A value; Read fails on a shortage or a missing terminator.
#pragma once

#include "rpc/zrpacket.h"
#include "rpc/zrstructunistring.h"

// The control commands, which are also the RPC procedure numbers.
enum ZrSMBNFSCommand : uint32_t {
    kSMBNFSFlushSession = 101,
    kSMBNFSSetConfig = 102,
    kSMBNFSGetConfig = 103,
    kSMBNFSListSessions = 104,
    kSMBNFSRegisterDisplay = 105,
    kSMBNFSUnregisterUser = 106,
};

class ZrSMBNFSRequest : public ZrPacket {
public:
    explicit ZrSMBNFSRequest(uint32_t command = 0) : m_command(command) {}
    explicit ZrSMBNFSRequest(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrSMBNFSRequest(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t command() const { return m_command; }
    void command(uint32_t value);
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

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    // The command and the texts that command puts on the wire.
    bool operator==(const ZrSMBNFSRequest& other) const;
    bool operator!=(const ZrSMBNFSRequest& other) const { return !(*this == other); }

private:
    void Set(ZrControlString& field, const ZrControlString& value);
    // The one text besides the user that the command carries, or nullptr.
    const ZrControlString* Extra() const;
    ZrControlString* Extra();

    uint32_t m_command = 0;
    ZrControlString m_user;
    ZrControlString m_machine;
    ZrControlString m_config;
    ZrControlString m_display;
};
