#include "dmp/messages/adddeviceconf.h"

namespace wex::common::dmp {

AddDeviceConf::AddDeviceConf(unsigned char status, unsigned int deviceId)
    : m_deviceId(deviceId), m_status(status) {}

AddDeviceConf::AddDeviceConf(encoding::LEDecodingBufferStream& stream) {
    stream.Read(m_type);
    stream.Read(m_totalLength);
    stream.Read(m_deviceId);
    stream.Read(m_status);
    ReadT50Text16(stream, m_data, false);
    stream.Read(m_constant1);
    stream.Read(m_constant2);
}

void AddDeviceConf::Serialize(encoding::LEEncodingBufferStream& stream) const {
    stream.Write(m_type);
    stream.Write(m_totalLength);
    stream.Write(m_deviceId);
    stream.Write(m_status);
    WriteT50Text16(stream, m_data);
    stream.Write(m_constant1);
    stream.Write(m_constant2);
}

} // namespace wex::common::dmp
