// wex::common::dmp::Client: the DMP side of a display connection. It takes whole messages from its
// transport, treats the first one as the peer's init message and routes the rest by their type code;
// subclasses override the handlers they need. Holds no resources; handlers may throw.
#pragma once

#include "framework/buffer/buffer.h"

#include <cstdint>

namespace wex::common::dmp {

class Client {
public:
    // DMP message type codes the client routes on.
    enum : uint8_t {
        kAddDeviceReq = 0,
        kAddDeviceConf = 1,
        kRemoveDeviceReq = 2,
        kRemoveDeviceConf = 3,
    };

    Client() = default;
    virtual ~Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // One whole message from the peer: before initialisation it is the init message, afterwards
    // it goes by its first byte (add- and remove-device requests; an empty message or any other code
    // goes to OnKPDMPUnknown, and no reply is sent for it).
    virtual void OnKPDMPData(buffer::Buffer& data);
    virtual void OnKPDMPAddDevice(buffer::Buffer&) {}
    virtual void OnKPDMPRemoveDevice(buffer::Buffer&) {}
    virtual void OnKPDMPUnknown(buffer::Buffer&) {}
    virtual void OnKPDMPInit(buffer::Buffer&) {}
    // One whole message to the peer.
    virtual void SendKPDMPData(const buffer::Buffer& data) = 0;

    bool IsInitialised() const { return m_initialised != 0; }

protected:
    // Nonzero once the peer's first message has arrived; nothing resets it.
    uint32_t m_initialised = 0;
};

} // namespace wex::common::dmp
