#include "common/x11/dmpclient.h"

namespace wex::common::dmp {

void Client::OnKPDMPData(buffer::Buffer& data) {
    if (!m_initialised) {
        // Whatever the peer sends first is its init message.
        OnKPDMPInit(data);
        m_initialised = 1;
        return;
    }
    if (data.Length() == 0) {
        OnKPDMPUnknown(data);
        return;
    }
    switch (data.Data()[0]) {
    case kAddDeviceReq:
        OnKPDMPAddDevice(data);
        break;
    case kRemoveDeviceReq:
        OnKPDMPRemoveDevice(data);
        break;
    default:
        OnKPDMPUnknown(data);
        break;
    }
}

} // namespace wex::common::dmp
