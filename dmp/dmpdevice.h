// DMPDevice: what an endpoint remembers of a device the peer added, copied out of the add-device
// request so that a later removal can report the same data. Plain value; cannot fail.
#pragma once

#include <cstdint>
#include <string>

namespace wex::common::dmp {
class AddDeviceReq;
}

class DMPDevice {
public:
    explicit DMPDevice(const wex::common::dmp::AddDeviceReq& request);

    uint32_t DeviceID() const { return m_deviceId; }
    const std::string& Uri() const { return m_uri; }
    const std::string& DeviceName() const { return m_deviceName; }
    const std::string& DisplayName() const { return m_displayName; }
    const std::string& DeviceInfo() const { return m_deviceInfo; }
    const std::string& Username() const { return m_username; }
    const std::string& Password() const { return m_password; }

private:
    uint32_t m_deviceId;
    std::string m_uri;
    std::string m_deviceName;
    std::string m_displayName;
    std::string m_deviceInfo;
    std::string m_username;
    std::string m_password;
};
