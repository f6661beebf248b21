#include "dmp/messages/adddevicereq.h"

#include "framework/exception/exception.h"

#include <new>

namespace wex::common::dmp {

AddDeviceReq::AddDeviceReq(encoding::LEDecodingBufferStream& stream) {
    Parse(stream);
}

void AddDeviceReq::Parse(encoding::LEDecodingBufferStream& stream) {
    // Strictly sequential; the total length is read but never used to bound or skip anything.
    stream.Read(m_type);
    stream.Read(m_totalLength);
    stream.Read(m_deviceId);
    ReadT50Text16(stream, m_deviceName);
    ReadT50Text16(stream, m_displayName);
    stream.Read(m_opaque1);
    stream.Read(m_chars);
    stream.Read(m_opaque2);
    stream.Read(m_opaque3);
    ReadT50Text16(stream, m_uri);
    ReadT50Text32(stream, m_opaqueText1);
    stream.Read(m_opaque4);
    stream.Read(m_opaque5);
    ReadT50Text16(stream, m_username);
    ReadT50Text16(stream, m_password);
    stream.Read(m_opaque6);
    stream.Read(m_opaque7);
    stream.Read(m_optFlags);
    ReadT50Text16(stream, m_altName);
    ReadT50Text32(stream, m_optionsDeviceData);
    ReadT50Text32(stream, m_opaqueText2);
    ReadT50Text16(stream, m_deviceInfo);
    stream.Read(m_configCount);
    stream.Read(m_opaque8);
    m_config.reset();
    if (m_configCount == 0)
        return;
    m_config.reset(new (std::nothrow) ConfigEntry[m_configCount]);
    if (!m_config)
        throw memory::OutOfMemoryException();
    for (uint16_t i = 0; i < m_configCount; ++i) {
        ReadT50Text16(stream, m_config[i].key, false);
        ReadT50Text32(stream, m_config[i].value, false);
    }
}

buffer::Buffer AddDeviceReq::OptionsDeviceData() const {
    return buffer::Buffer(m_optionsDeviceData.data.get(),
                          m_optionsDeviceData.data ? m_optionsDeviceData.length : 0);
}

uint64_t AddDeviceReq::size() const {
    uint64_t total = 1 + 4 + 4; // type, total length, device id
    total += 2 + m_deviceName.length + 2 + m_displayName.length;
    total += 4 + 4 + 1 + 4; // opaque 1, characteristics, opaque 2, opaque 3
    total += 2 + m_uri.length + 4 + m_opaqueText1.length;
    total += 1 + 4; // opaque 4, opaque 5
    total += 2 + m_username.length + 2 + m_password.length;
    total += 4 + 4 + 2; // opaque 6, opaque 7, option flags
    total += 2 + m_altName.length + 4 + m_optionsDeviceData.length + 4 + m_opaqueText2.length;
    total += 2 + m_deviceInfo.length + 2 + 4; // device information, count, opaque 8
    for (uint16_t i = 0; i < m_configCount; ++i)
        total += 2 + m_config[i].key.length + 4 + m_config[i].value.length;
    return total;
}

void AddDeviceReq::Serialize(encoding::LEEncodingBufferStream& stream) const {
    stream.Write(m_type);
    stream.Write(m_totalLength);
    stream.Write(m_deviceId);
    WriteT50Text16(stream, m_deviceName);
    WriteT50Text16(stream, m_displayName);
    stream.Write(m_opaque1);
    stream.Write(m_chars);
    stream.Write(m_opaque2);
    stream.Write(m_opaque3);
    WriteT50Text16(stream, m_uri);
    WriteT50Text32(stream, m_opaqueText1);
    stream.Write(m_opaque4);
    stream.Write(m_opaque5);
    WriteT50Text16(stream, m_username);
    WriteT50Text16(stream, m_password);
    stream.Write(m_opaque6);
    stream.Write(m_opaque7);
    stream.Write(m_optFlags);
    WriteT50Text16(stream, m_altName);
    WriteT50Text32(stream, m_optionsDeviceData);
    WriteT50Text32(stream, m_opaqueText2);
    WriteT50Text16(stream, m_deviceInfo);
    stream.Write(m_configCount);
    stream.Write(m_opaque8);
    for (uint16_t i = 0; i < m_configCount; ++i) {
        WriteT50Text16(stream, m_config[i].key);
        WriteT50Text32(stream, m_config[i].value);
    }
}

bool AddDeviceReq::operator==(const AddDeviceReq& other) const {
    if (m_type != other.m_type || m_totalLength != other.m_totalLength || m_deviceId != other.m_deviceId ||
        !(m_deviceName == other.m_deviceName) || !(m_displayName == other.m_displayName) ||
        m_opaque1 != other.m_opaque1 || m_chars != other.m_chars || m_opaque2 != other.m_opaque2 ||
        m_opaque3 != other.m_opaque3 || !(m_uri == other.m_uri) || !(m_opaqueText1 == other.m_opaqueText1) ||
        m_opaque4 != other.m_opaque4 || m_opaque5 != other.m_opaque5 || !(m_username == other.m_username) ||
        !(m_password == other.m_password) || m_opaque6 != other.m_opaque6 || m_opaque7 != other.m_opaque7 ||
        m_optFlags != other.m_optFlags || !(m_altName == other.m_altName) ||
        !(m_optionsDeviceData == other.m_optionsDeviceData) || !(m_opaqueText2 == other.m_opaqueText2) ||
        !(m_deviceInfo == other.m_deviceInfo) || m_configCount != other.m_configCount ||
        m_opaque8 != other.m_opaque8)
        return false;
    for (uint16_t i = 0; i < m_configCount; ++i)
        if (!(m_config[i] == other.m_config[i]))
            return false;
    return true;
}

} // namespace wex::common::dmp
