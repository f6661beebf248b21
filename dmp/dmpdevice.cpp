#include "dmp/dmpdevice.h"

#include <cstring>

#include "dmp/messages/adddevicereq.h"
#include "foundation/crypto/zrsecurewipe.h"

DMPDevice::DMPDevice(const wex::common::dmp::AddDeviceReq& request) : m_deviceId(request.DeviceID()) {
    std::string fields[kFieldCount] = {request.Uri(),        request.DeviceName(), request.DisplayName(),
                                       request.DeviceInfo(), request.Username(),   request.Password()};
    uint32_t total = 0;
    for (int i = 0; i < kFieldCount; ++i) {
        m_start[i] = total;
        total += static_cast<uint32_t>(fields[i].size());
    }
    m_start[kFieldCount] = total;
    m_text = std::make_unique_for_overwrite<char[]>(total ? total : 1);
    for (int i = 0; i < kFieldCount; ++i)
        std::memcpy(m_text.get() + m_start[i], fields[i].data(), fields[i].size());
    ZrSecureWipe(fields[kPassword].data(), fields[kPassword].size());
}

DMPDevice::~DMPDevice() {
    ZrSecureWipe(m_text.get(), m_start[kFieldCount]);
}
