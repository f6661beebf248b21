#include "dmp/dmpdevice.h"

#include "dmp/messages/adddevicereq.h"

DMPDevice::DMPDevice(const wex::common::dmp::AddDeviceReq& request)
    : m_deviceId(request.DeviceID()), m_uri(request.Uri()), m_deviceName(request.DeviceName()),
      m_displayName(request.DisplayName()), m_deviceInfo(request.DeviceInfo()),
      m_username(request.Username()), m_password(request.Password()) {}
