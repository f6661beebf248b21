// wex::common::dmp::AddDeviceReq: the peer's request to add a device (type code 0), parsed field by
// field in wire order from the stream given to the constructor; the request owns its texts and
// configuration entries. A field the buffer does not hold in full throws
// stream::IncompleteReadException (stream::EOSException when the buffer ends exactly before it).
#pragma once

#include "dmp/messages/t50string.h"
#include "framework/buffer/buffer.h"

#include <cstdint>
#include <memory>
#include <string>

namespace wex::common::dmp {

// One configuration entry: key and value, both raw (no terminator), null when their length is 0.
struct ConfigEntry {
    T50Text key;
    T50Text value;

    std::string Key() const { return key.Str(); }
    std::string Value() const { return value.Str(); }
    bool operator==(const ConfigEntry& other) const = default;
};

class AddDeviceReq {
public:
    explicit AddDeviceReq(encoding::LEDecodingBufferStream& stream);
    AddDeviceReq(const AddDeviceReq&) = delete;
    AddDeviceReq& operator=(const AddDeviceReq&) = delete;

    void Parse(encoding::LEDecodingBufferStream& stream);

    uint32_t DeviceID() const { return m_deviceId; }
    uint32_t Chars() const { return m_chars; }
    uint16_t OptFlags() const { return m_optFlags; }
    uint16_t ConfigCount() const { return m_configCount; }
    // Texts: "" when the wire length is 0, else exactly the wire bytes.
    std::string DeviceName() const { return m_deviceName.Str(); }
    std::string DisplayName() const { return m_displayName.Str(); }
    std::string Uri() const { return m_uri.Str(); }
    std::string Username() const { return m_username.Str(); }
    std::string Password() const { return m_password.Str(); }
    std::string AltName() const { return m_altName.Str(); }
    std::string DeviceInfo() const { return m_deviceInfo.Str(); }
    // A view of the request's own bytes (null data when the length is 0); valid while the request lives.
    buffer::Buffer OptionsDeviceData() const;
    // The entry array itself, ConfigCount() long; null when the count is 0.
    const ConfigEntry* ConfigurationData() const { return m_config.get(); }

    unsigned char TypeCode() const { return m_type; }
    uint32_t TotalLength() const { return m_totalLength; }

    // The wire size of the fields as parsed, and the fields written back in wire order (the total
    // length as it was received).
    uint64_t size() const;
    void Serialize(encoding::LEEncodingBufferStream& stream) const;
    bool operator==(const AddDeviceReq& other) const;

private:
    unsigned char m_type = 0;
    uint32_t m_totalLength = 0;
    uint32_t m_deviceId = 0;
    T50Text m_deviceName;
    T50Text m_displayName;
    uint32_t m_opaque1 = 0;
    uint32_t m_chars = 0;
    unsigned char m_opaque2 = 0;
    uint32_t m_opaque3 = 0;
    T50Text m_uri;
    T50Text m_opaqueText1;
    unsigned char m_opaque4 = 0;
    uint32_t m_opaque5 = 0;
    T50Text m_username;
    T50Text m_password;
    uint32_t m_opaque6 = 0;
    uint32_t m_opaque7 = 0;
    uint16_t m_optFlags = 0;
    T50Text m_altName;
    T50Text m_optionsDeviceData;
    T50Text m_opaqueText2;
    T50Text m_deviceInfo;
    uint16_t m_configCount = 0;
    uint32_t m_opaque8 = 0;
    std::unique_ptr<ConfigEntry[]> m_config;
};

} // namespace wex::common::dmp
