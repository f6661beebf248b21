// ZrSMBNFSSessionInfo: one entry of a file server's session list: a name and, optionally, five
// words of details that this program carries without interpreting. A value; Read fails on a shortage.
#pragma once

#include <array>
#include <optional>

#include "rpc/zrrecord.h"

// Not used by the agent; the entry of ListSessions' reply, kept with that call.
class ZrSMBNFSSessionInfo : public ZrRecord<ZrSMBNFSSessionInfo> {
public:
    using Details = std::array<uint32_t, 5>;

    ZrSMBNFSSessionInfo() = default;
    explicit ZrSMBNFSSessionInfo(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrSMBNFSSessionInfo(const unsigned char*& data, unsigned long& remaining) {
        ReadFromBytes(data, remaining);
    }

    // The setters of the name and the details also make the record valid.
    const ZrControlString& name() const { return m_name; }
    void name(const ZrControlString& value) {
        Assign(m_name, value);
        SetValid(true);
    }
    bool HasDetails() const { return m_details.has_value(); }
    // All zero when there are none.
    const Details& details() const {
        static const Details none{};
        return m_details ? *m_details : none;
    }
    void details(const Details& value) {
        Assign(m_details, value);
        SetValid(true);
    }
    void ClearDetails() { Assign(m_details, std::nullopt); }

private:
    friend ZrRecord<ZrSMBNFSSessionInfo>;
    // Equal entries agree on the name and on the details, or both have none.
    template <class Self, class F> static void Fields(Self& self, F& field) {
        field("name", self.m_name);
        field("details", self.m_details);
    }

    ZrControlString m_name;
    std::optional<Details> m_details;
};
