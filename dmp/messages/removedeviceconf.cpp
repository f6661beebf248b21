#include "dmp/messages/removedeviceconf.h"

namespace wex::common::dmp {

RemoveDeviceConf::RemoveDeviceConf(encoding::LEDecodingBufferStream& stream) {
    stream.Read(m_type);
    stream.Read(m_totalLength);
    stream.Read(m_deviceId);
    stream.Read(m_status);
}

void RemoveDeviceConf::Serialize(encoding::LEEncodingBufferStream& stream) const {
    stream.Write(m_type);
    stream.Write(m_totalLength);
    stream.Write(m_deviceId);
    stream.Write(m_status);
}

} // namespace wex::common::dmp
