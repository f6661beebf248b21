// wex::common::dmp::RemoveDeviceConf: the confirmation of a removed device (type code 3, 10 bytes),
// the shared head and nothing after it.
#pragma once

#include "dmp/messages/deviceconf.h"

namespace wex::common::dmp {

struct NoTail {
    bool operator==(const NoTail& other) const = default;
    template <class Self, class F> static void Fields(Self&, F&&) {}
};

class RemoveDeviceConf : public DeviceConf<3, 10, NoTail> {
public:
    using DeviceConf::DeviceConf;
};

} // namespace wex::common::dmp
