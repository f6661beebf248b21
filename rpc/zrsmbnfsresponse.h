// ZrSMBNFSResponse: the result record of a file-server control call: the command code, the fields
// that command returns and the server's error text (empty on success). A value; Read fails on any
// shortage or missing terminator, and then the record is not valid.
#pragma once

#include "foundation/container/zrdlist.h"
#include "rpc/zrsmbnfsrequest.h"
#include "rpc/zrsmbnfssessioninfo.h"

class ZrSMBNFSResponse : public ZrPacket {
public:
    using SessionList = ZrDList<ZrSMBNFSSessionInfo>;

    explicit ZrSMBNFSResponse(uint32_t command = 0) : m_command(command) {}
    explicit ZrSMBNFSResponse(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrSMBNFSResponse(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    uint32_t command() const { return m_command; }
    void command(uint32_t value);
    // On the wire for 103.
    const ZrControlString& config() const { return m_config; }
    void config(const ZrControlString& value) { Set(m_config, value); }
    // On the wire for 104, preceded by their count.
    const SessionList& sessions() const { return m_sessions; }
    void sessions(const SessionList& value);
    // On the wire for 105 and 106; carried, never interpreted here.
    uint32_t result() const { return m_result; }
    void result(uint32_t value);
    // On the wire for 105.
    const ZrControlString& display() const { return m_display; }
    void display(const ZrControlString& value) { Set(m_display, value); }
    // Always on the wire, last.
    const ZrControlString& error() const { return m_error; }
    void error(const ZrControlString& value) { Set(m_error, value); }

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override;
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    // The command and the fields that command puts on the wire.
    bool operator==(const ZrSMBNFSResponse& other) const;
    bool operator!=(const ZrSMBNFSResponse& other) const { return !(*this == other); }

private:
    void Set(ZrControlString& field, const ZrControlString& value);

    uint32_t m_command = 0;
    ZrControlString m_config;
    SessionList m_sessions;
    uint32_t m_result = 0;
    ZrControlString m_display;
    ZrControlString m_error;
};
