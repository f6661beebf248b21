// wex::common::dmp::AddDeviceConf: the confirmation of an added device (type code 1), 17 bytes with
// no attached data. Serialising into a shorter buffer throws stream::IncompleteWriteException or
// stream::EOSException; parsing a short buffer throws the short-read kinds.
#pragma once

#include "dmp/messages/deviceconf.h"

namespace wex::common::dmp {

class AddDeviceConf : public DeviceConf<AddDeviceConf> {
public:
    AddDeviceConf(unsigned char status, unsigned int deviceId) : DeviceConf(1, 17, status, deviceId) {}
    // Reads a confirmation as the peer would receive it.
    explicit AddDeviceConf(encoding::LEDecodingBufferStream& stream) : DeviceConf(1, 17, 0, 0) {
        ReadFields(stream);
    }

    // Empty in every confirmation this side builds, so size() is 17 for them.
    const T50Text& AttachedData() const { return m_data; }

    bool operator==(const AddDeviceConf& other) const = default;

private:
    friend wire::Message<AddDeviceConf>;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        HeadFields(self, field);
        field(self.m_data);
        field(self.m_constant1);
        field(self.m_constant2);
    }

    RawText16 m_data;
    unsigned char m_constant1 = 1;
    unsigned int m_constant2 = 0;
};

} // namespace wex::common::dmp
