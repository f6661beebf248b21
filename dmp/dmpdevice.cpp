#include "dmp/dmpdevice.h"

#include <cstring>

#include "dmp/messages/adddevicereq.h"
#include "foundation/crypto/zrsecurewipe.h"

DMPDevice::DMPDevice(const wex::common::dmp::AddDeviceReq& request) {
    // The password is read through a view of the request: no standard string keeps a copy of it.
    const std::string fields[kPassword] = {request.Uri(), request.DeviceName(), request.DisplayName(),
                                           request.DeviceInfo(), request.Username()};
    const std::string_view password = request.PasswordBytes();
    uint32_t total = 0;
    for (int i = 0; i < kFieldCount; ++i) {
        m_start[i] = total;
        total += static_cast<uint32_t>(i == kPassword ? password.size() : fields[i].size());
    }
    m_start[kFieldCount] = total;
    m_text = std::make_unique_for_overwrite<char[]>(total + 1);
    m_text[total] = 0;
    for (int i = 0; i < kPassword; ++i)
        std::memcpy(m_text.get() + m_start[i], fields[i].data(), fields[i].size());
    if (!password.empty())
        std::memcpy(m_text.get() + m_start[kPassword], password.data(), password.size());
}

DMPDevice::~DMPDevice() {
    ZrSecureWipe(m_text.get(), m_start[kFieldCount]);
}
