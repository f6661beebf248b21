// ZrSMBNFSSessionInfo: one entry of a file server's session list: a name and, optionally, five
// words of details that this program carries without interpreting. A value; Read fails on a shortage.
#pragma once

#include <array>

#include "rpc/zrpacket.h"
#include "rpc/zrstructunistring.h"

class ZrSMBNFSSessionInfo : public ZrPacket {
public:
    using Details = std::array<uint32_t, 5>;

    ZrSMBNFSSessionInfo() = default;
    explicit ZrSMBNFSSessionInfo(const ZrPacket& packet) { ReadFromPacket(packet); }
    ZrSMBNFSSessionInfo(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // the outcome is the valid flag
    }

    const ZrControlString& name() const { return m_name; }
    void name(const ZrControlString& value);
    bool HasDetails() const { return m_hasDetails; }
    const Details& details() const { return m_details; }
    void details(const Details& value);
    void ClearDetails();

    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override;
    unsigned long PackedSize() const override { return m_name.PackedSize() + 1 + (m_hasDetails ? 20 : 0); }
    void PackTo(unsigned char*& out) const override;
    ZrUniString DebugString(unsigned indent) const override;

    // Names and details agree (entries without details agree on that).
    bool operator==(const ZrSMBNFSSessionInfo& other) const;
    bool operator!=(const ZrSMBNFSSessionInfo& other) const { return !(*this == other); }

private:
    ZrControlString m_name;
    bool m_hasDetails = false;
    Details m_details{};
};
