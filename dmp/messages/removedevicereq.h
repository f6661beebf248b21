// wex::common::dmp::RemoveDeviceReq: the peer's request to remove a device (type code 2, 13 bytes),
// parsed in wire order by the constructor. A short buffer throws stream::IncompleteReadException
// (stream::EOSException when it ends exactly before a field).
#pragma once

#include "dmp/messages/wiremessage.h"

namespace wex::common::dmp {

class RemoveDeviceReq : public wire::Message<RemoveDeviceReq> {
public:
    explicit RemoveDeviceReq(encoding::LEDecodingBufferStream& stream) { Parse(stream); }
    void Parse(encoding::LEDecodingBufferStream& stream) { ReadFields(stream); }

    uint32_t DeviceID() const { return m_deviceId; }
    unsigned char TypeCode() const { return m_type; }
    uint32_t TotalLength() const { return m_totalLength; }

    bool operator==(const RemoveDeviceReq& other) const = default;

private:
    friend wire::Message<RemoveDeviceReq>;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.m_type);
        field(self.m_totalLength);
        field(self.m_deviceId);
        field(self.m_opaque);
    }

    unsigned char m_type = 0;
    uint32_t m_totalLength = 0;
    uint32_t m_deviceId = 0;
    uint32_t m_opaque = 0;
};

} // namespace wex::common::dmp
