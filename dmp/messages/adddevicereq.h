// wex::common::dmp::AddDeviceReq: the peer's request to add a device (type code 0), parsed field by
// field in wire order from the stream given to the constructor; the request owns its texts and
// configuration entries. A field the buffer does not hold in full throws
// stream::IncompleteReadException (stream::EOSException when the buffer ends exactly before it).
#pragma once

#include "dmp/messages/wiremessage.h"
#include "framework/buffer/buffer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wex::common::dmp {

// One configuration entry: key and value, both raw (no terminator), null when their length is 0.
struct ConfigEntry {
    RawText16 key;
    RawText32 value;

    std::string Key() const { return key.Str(); }
    std::string Value() const { return value.Str(); }
    bool operator==(const ConfigEntry& other) const = default;

    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.key);
        field(self.value);
    }
};

class AddDeviceReq : public wire::Message<AddDeviceReq> {
public:
    explicit AddDeviceReq(encoding::LEDecodingBufferStream& stream) { Parse(stream); }
    AddDeviceReq(const AddDeviceReq&) = delete;
    AddDeviceReq& operator=(const AddDeviceReq&) = delete;

    // Strictly sequential; the total length is read but never used to bound or skip anything.
    void Parse(encoding::LEDecodingBufferStream& stream) { ReadFields(stream); }

    uint32_t DeviceID() const { return m_deviceId; }
    uint32_t Chars() const { return m_chars; }
    uint16_t OptFlags() const { return m_optFlags; }
    uint16_t ConfigCount() const { return m_configCount; }
    // Texts: "" when the wire length is 0, else exactly the wire bytes.
    std::string DeviceName() const { return m_deviceName.Str(); }
    std::string DisplayName() const { return m_displayName.Str(); }
    std::string Uri() const { return m_uri.Str(); }
    std::string Username() const { return m_username.Str(); }
    // The password only as the request's own bytes, also as zero-terminated text (null when empty):
    // reading through these leaves no copy to wipe.
    std::string_view PasswordBytes() const { return m_password.View(); }
    const char* PasswordText() const { return m_password.data.get(); }
    std::string AltName() const { return m_altName.Str(); }
    std::string DeviceInfo() const { return m_deviceInfo.Str(); }
    // A view of the request's own bytes (null data when the length is 0); valid while the request lives.
    buffer::Buffer OptionsDeviceData() const {
        return buffer::Buffer(m_optionsDeviceData.data.get(),
                              m_optionsDeviceData.data ? m_optionsDeviceData.length : 0);
    }
    // The entry array itself, ConfigCount() long; null when the count is 0.
    const ConfigEntry* ConfigurationData() const { return m_config.empty() ? nullptr : m_config.data(); }

    unsigned char TypeCode() const { return m_type; }
    uint32_t TotalLength() const { return m_totalLength; }

    // size() and Serialize() give the fields as parsed, the total length as it was received.
    bool operator==(const AddDeviceReq& other) const = default;

private:
    friend wire::Message<AddDeviceReq>;
    template <class Self, class F> static void Fields(Self& self, F&& field) {
        field(self.m_type);
        field(self.m_totalLength);
        field(self.m_deviceId);
        field(self.m_deviceName);
        field(self.m_displayName);
        field(self.m_opaque1);
        field(self.m_chars);
        field(self.m_opaque2);
        field(self.m_opaque3);
        field(self.m_uri);
        field(self.m_opaqueText1);
        field(self.m_opaque4);
        field(self.m_opaque5);
        field(self.m_username);
        field(self.m_password);
        field(self.m_opaque6);
        field(self.m_opaque7);
        field(self.m_optFlags);
        field(self.m_altName);
        field(self.m_optionsDeviceData);
        field(self.m_opaqueText2);
        field(self.m_deviceInfo);
        field(self.m_configCount);
        field(self.m_opaque8);
        field(wire::CountedBy{self.m_config, self.m_configCount});
    }

    unsigned char m_type = 0;
    uint32_t m_totalLength = 0;
    uint32_t m_deviceId = 0;
    T50Text16 m_deviceName;
    T50Text16 m_displayName;
    uint32_t m_opaque1 = 0;
    uint32_t m_chars = 0;
    unsigned char m_opaque2 = 0;
    uint32_t m_opaque3 = 0;
    T50Text16 m_uri;
    T50Text32 m_opaqueText1;
    unsigned char m_opaque4 = 0;
    uint32_t m_opaque5 = 0;
    T50Text16 m_username;
    T50Text16 m_password;
    uint32_t m_opaque6 = 0;
    uint32_t m_opaque7 = 0;
    uint16_t m_optFlags = 0;
    T50Text16 m_altName;
    T50Text32 m_optionsDeviceData;
    T50Text32 m_opaqueText2;
    T50Text16 m_deviceInfo;
    uint16_t m_configCount = 0;
    uint32_t m_opaque8 = 0;
    std::vector<ConfigEntry> m_config;
};

} // namespace wex::common::dmp
