// wex::common::dmp::AddDeviceConf: the confirmation of an added device (type code 1), 17 bytes with
// no attached data. Serialising into a shorter buffer throws stream::IncompleteWriteException or
// stream::EOSException; parsing a short buffer throws the short-read kinds.
#pragma once

#include "dmp/messages/t50string.h"

#include <cstdint>

namespace wex::common::dmp {

class AddDeviceConf {
public:
    AddDeviceConf(unsigned char status, unsigned int deviceId);
    // Reads a confirmation as the peer would receive it.
    explicit AddDeviceConf(encoding::LEDecodingBufferStream& stream);

    unsigned char Status() const { return m_status; }
    unsigned int DeviceID() const { return m_deviceId; }
    unsigned int TotalLength() const { return m_totalLength; }
    const T50Text& AttachedData() const { return m_data; }

    // 17 plus the attached data's length (which is 0 for every confirmation this side builds).
    uint64_t size() const { return 17u + m_data.length; }
    void Serialize(encoding::LEEncodingBufferStream& stream) const;
    bool operator==(const AddDeviceConf& other) const = default;

private:
    unsigned char m_type = 1;
    unsigned int m_totalLength = 17;
    unsigned int m_deviceId = 0;
    unsigned char m_status = 0;
    T50Text m_data;
    unsigned char m_constant1 = 1;
    unsigned int m_constant2 = 0;
};

} // namespace wex::common::dmp
