// DMPEnum: the DMP endpoint on one display. It announces the agent's one service, keeps the devices
// the peer added (owning them), and reports additions and removals to its IDMPEnumNotify (borrowed,
// may be null). A display without the extension is reported ("Cannot init DMP extension") and left to
// the owner to end; a request that does not parse is dropped with a line on standard error.
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
    // "Cannot init DMP extension" and HasExtension() is false.
    DMPEnum(::common::x11::XDisplayBase& display, IDMPEnumNotify* notify);
    ~DMPEnum() override;

    // Sends the init indication: version 1.0 and the service "smb" with the single value 0.
    void Init();

    // Splits "smb<anything>//host/share" into host and share; see the source for what is accepted.
    static bool ParseURI(const std::string& uri, std::string& host, std::string& share);

    void OnKPDMPAddDevice(buffer::Buffer& data) override;
    void OnKPDMPRemoveDevice(buffer::Buffer& data) override;
    void OnKPDMPUnknown(buffer::Buffer& data) override;

    bool HasExtension() const { return m_hasExtension; }
    // Keyed by the device id read as a signed number.
    const std::map<int32_t, std::unique_ptr<DMPDevice>>& Devices() const { return m_devices; }

    // Where the endpoint's lines go: the missing extension (error false) and a dropped message (error
    // true); standard output and standard error when none is set.
    static void SetMessageWriter(std::function<void(bool error, const char* text)> writer);

private:
    // The request in `data`, or null after the line for a message that does not parse.
    template <class Request> std::unique_ptr<Request> Parse(buffer::Buffer& data);
    void ReportMalformed();

    IDMPEnumNotify* m_pNotify;
    bool m_hasExtension = false;
    std::map<int32_t, std::unique_ptr<DMPDevice>> m_devices;
};
