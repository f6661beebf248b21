#include "dmp/messages/removedevicereq.h"

namespace wex::common::dmp {

RemoveDeviceReq::RemoveDeviceReq(encoding::LEDecodingBufferStream& stream) {
    Parse(stream);
}

void RemoveDeviceReq::Parse(encoding::LEDecodingBufferStream& stream) {
    stream.Read(m_type);
    stream.Read(m_totalLength);
    stream.Read(m_deviceId);
    stream.Read(m_opaque);
}

void RemoveDeviceReq::Serialize(encoding::LEEncodingBufferStream& stream) const {
    stream.Write(m_type);
    stream.Write(m_totalLength);
    stream.Write(m_deviceId);
    stream.Write(m_opaque);
}

} // namespace wex::common::dmp
