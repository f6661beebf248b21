// wex::common::dmp::RemoveDeviceConf: the confirmation of a removed device (type code 3, 10 bytes).
// Serialising into a shorter buffer throws stream::IncompleteWriteException or stream::EOSException.
#pragma once

#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"

#include <cstdint>

namespace wex::common::dmp {

class RemoveDeviceConf {
public:
    RemoveDeviceConf(unsigned char status, unsigned int deviceId) : m_deviceId(deviceId), m_status(status) {}
    // Reads a confirmation as the peer would receive it.
    explicit RemoveDeviceConf(encoding::LEDecodingBufferStream& stream);

    unsigned char Status() const { return m_status; }
    unsigned int DeviceID() const { return m_deviceId; }
    unsigned int TotalLength() const { return m_totalLength; }

    uint64_t size() const { return 10; }
    void Serialize(encoding::LEEncodingBufferStream& stream) const;
    bool operator==(const RemoveDeviceConf& other) const = default;

private:
    unsigned char m_type = 3;
    unsigned int m_totalLength = 10;
    unsigned int m_deviceId = 0;
    unsigned char m_status = 0;
};

} // namespace wex::common::dmp
