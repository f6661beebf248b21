// wex::common::dmp::AddDeviceConf: the confirmation of an added device (type code 1), 17 bytes with
// no attached data: the shared head, attached data with a 16-bit length, and two constant fields.
#pragma once

#include "dmp/messages/deviceconf.h"

namespace wex::common::dmp {

struct AddDeviceConfTail {
    RawText16 data;
    unsigned char constant1 = 1;
    unsigned int constant2 = 0;

    bool operator==(const AddDeviceConfTail& other) const = default;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.data);
        field(self.constant1);
        field(self.constant2);
    }
};

class AddDeviceConf : public DeviceConf<1, 17, AddDeviceConfTail> {
public:
    using DeviceConf::DeviceConf;

    // Empty in every confirmation this side builds, so size() is 17 for them.
    const T50Text& AttachedData() const { return m_tail.data; }
};

} // namespace wex::common::dmp
