// wex::common::dmp::DeviceConf: the layout both device confirmations share, a head of type code,
// total length, device id and status, then the confirmation's own tail of fields. Serialising into
// a shorter buffer throws stream::IncompleteWriteException or stream::EOSException; parsing a short
// buffer throws the short-read kinds.
#pragma once

#include "dmp/messages/wiremessage.h"

namespace wex::common::dmp {

template <unsigned char Type, unsigned int Length, class Tail>
class DeviceConf : public wire::Message<DeviceConf<Type, Length, Tail>> {
public:
    DeviceConf(unsigned char status, unsigned int deviceId) : m_deviceId(deviceId), m_status(status) {}
    // Reads a confirmation as the peer would receive it.
    explicit DeviceConf(encoding::LEDecodingBufferStream& stream) { this->ReadFields(stream); }

    unsigned char Status() const { return m_status; }
    unsigned int DeviceID() const { return m_deviceId; }
    unsigned int TotalLength() const { return m_totalLength; }

    bool operator==(const DeviceConf& other) const = default;

protected:
    Tail m_tail;

private:
    friend wire::Message<DeviceConf>;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.m_type);
        field(self.m_totalLength);
        field(self.m_deviceId);
        field(self.m_status);
        Tail::Fields(self.m_tail, field);
    }

    unsigned char m_type = Type;
    unsigned int m_totalLength = Length;
    unsigned int m_deviceId = 0;
    unsigned char m_status = 0;
};

} // namespace wex::common::dmp
