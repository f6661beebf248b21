// DMPEnum: the DMP endpoint on one display. It announces the agent's one service, keeps the devices
// the peer added (owning them), and reports additions and removals to its IDMPEnumNotify (borrowed,
// may be null). A display without the extension ends the process (kExitDisplayUnavailable); a truncated
// request throws the stream exceptions out of event handling.
#pragma once

#include "common/x11/dmpx11client.h"
#include "dmp/dmpdevice.h"
#include "dmp/idmpenumnotify.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

class DMPEnum : public wex::common::dmp::x11::Client {
public:
    static constexpr const char* URI_SMB = "smb";

    // Attaches itself to the display's handlers and looks for the extension; without it, prints
    // "Cannot init DMP extension" and ends the process with kExitDisplayUnavailable.
    DMPEnum(::common::x11::XDisplayBase& display, IDMPEnumNotify* notify);
    ~DMPEnum() override;

    // Sends the init indication: version 1.0 and the service "smb" with the single value 0.
    void Init();

    // Splits "smb<anything>//host/share" into host and share; see the source for what is accepted.
    static bool ParseURI(const std::string& uri, std::string& host, std::string& share);

    void OnKPDMPAddDevice(buffer::Buffer& data) override;
    void OnKPDMPRemoveDevice(buffer::Buffer& data) override;

    // Keyed by the device id read as a signed number.
    const std::map<int32_t, std::unique_ptr<DMPDevice>>& Devices() const { return m_devices; }

    // Where the missing-extension line goes; standard output when none is set.
    static void SetMessageWriter(std::function<void(const char*)> writer);

private:
    IDMPEnumNotify* m_pNotify;
    std::map<int32_t, std::unique_ptr<DMPDevice>> m_devices;
};
