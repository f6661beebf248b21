// wex::common::dmp::DeviceConf: what the two device confirmations share, a head of type code, total
// length, device id and status, in that order. The confirmations add their own fields after it.
#pragma once

#include "dmp/messages/wiremessage.h"

namespace wex::common::dmp {

template <class Derived> class DeviceConf : public wire::Message<Derived> {
public:
    unsigned char Status() const { return m_status; }
    unsigned int DeviceID() const { return m_deviceId; }
    unsigned int TotalLength() const { return m_totalLength; }

    bool operator==(const DeviceConf& other) const = default;

protected:
    DeviceConf(unsigned char type, unsigned int totalLength, unsigned char status, unsigned int deviceId)
        : m_type(type), m_totalLength(totalLength), m_deviceId(deviceId), m_status(status) {}

    template <class Self, class F> static void HeadFields(Self& self, F&& field) {
        field(self.m_type);
        field(self.m_totalLength);
        field(self.m_deviceId);
        field(self.m_status);
    }

private:
    unsigned char m_type;
    unsigned int m_totalLength;
    unsigned int m_deviceId;
    unsigned char m_status;
};

} // namespace wex::common::dmp
