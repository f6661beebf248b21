// wex::common::dmp::RemoveDeviceConf: the confirmation of a removed device (type code 3, 10 bytes).
// Serialising into a shorter buffer throws stream::IncompleteWriteException or stream::EOSException.
#pragma once

#include "dmp/messages/deviceconf.h"

namespace wex::common::dmp {

class RemoveDeviceConf : public DeviceConf<RemoveDeviceConf> {
public:
    RemoveDeviceConf(unsigned char status, unsigned int deviceId) : DeviceConf(3, 10, status, deviceId) {}
    // Reads a confirmation as the peer would receive it.
    explicit RemoveDeviceConf(encoding::LEDecodingBufferStream& stream) : DeviceConf(3, 10, 0, 0) {
        ReadFields(stream);
    }

    bool operator==(const RemoveDeviceConf& other) const = default;

private:
    friend wire::Message<RemoveDeviceConf>;
    template <class Self, class F> static void Fields(Self& self, F&& field) { HeadFields(self, field); }
};

} // namespace wex::common::dmp
