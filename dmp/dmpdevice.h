// DMPDevice: what an endpoint remembers of a device the peer added, copied out of the add-device
// request so that a later removal can report the same data. The six texts share one block (an agent
// keeps one record per mapped drive for its whole life, so their size adds up), which is wiped when
// the record goes: it holds the drive's credentials. Cannot fail but for allocation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace wex::common::dmp {
class AddDeviceReq;
}

class DMPDevice {
public:
    explicit DMPDevice(const wex::common::dmp::AddDeviceReq& request);
    ~DMPDevice();
    DMPDevice(const DMPDevice&) = delete;
    DMPDevice& operator=(const DMPDevice&) = delete;

    // The removal reads back the URI, the user name and the password; the device name, display name
    // and device information are kept as the request carried them, with nothing reading them yet.
    std::string Uri() const { return Field(kUri); }
    std::string Username() const { return Field(kUsername); }
    // The password inside the record as zero-terminated text, valid while the record lives: reading it
    // so leaves no copy to wipe.
    const char* PasswordText() const { return m_text.get() + m_start[kPassword]; }

private:
    enum FieldIndex { kUri, kDeviceName, kDisplayName, kDeviceInfo, kUsername, kPassword, kFieldCount };
    std::string Field(FieldIndex i) const {
        return std::string(m_text.get() + m_start[i], m_start[i + 1] - m_start[i]);
    }

    // Field i is [m_start[i], m_start[i + 1]) of the block: no terminators, so any byte may occur; one
    // zero byte follows the last field, the password.
    uint32_t m_start[kFieldCount + 1];
    std::unique_ptr<char[]> m_text;
};
