// wex::common::dmp::RemoveDeviceReq: the peer's request to remove a device (type code 2, 13 bytes),
// parsed in wire order by the constructor. A short buffer throws stream::IncompleteReadException
// (stream::EOSException when it ends exactly before a field).
#pragma once

#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"

#include <cstdint>

namespace wex::common::dmp {

class RemoveDeviceReq {
public:
    explicit RemoveDeviceReq(encoding::LEDecodingBufferStream& stream);
    void Parse(encoding::LEDecodingBufferStream& stream);

    uint32_t DeviceID() const { return m_deviceId; }
    unsigned char TypeCode() const { return m_type; }
    uint32_t TotalLength() const { return m_totalLength; }

    uint64_t size() const { return 13; }
    void Serialize(encoding::LEEncodingBufferStream& stream) const;
    bool operator==(const RemoveDeviceReq& other) const = default;

private:
    unsigned char m_type = 0;
    uint32_t m_totalLength = 0;
    uint32_t m_deviceId = 0;
    uint32_t m_opaque = 0;
};

} // namespace wex::common::dmp
