#include "dmp/dmpenum.h"

#include "dmp/dmpexitcode.h"
#include "dmp/messages/adddevicereq.h"
#include "dmp/messages/initindication.h"
#include "dmp/messages/messagebuffer.h"
#include "dmp/messages/removedevicereq.h"
#include "framework/encoding/decodingstream.h"
#include "framework/platform/dispatcher.h"

#include <cstdio>
#include <utility>

namespace {

std::function<void(const char*)>& MessageWriter() {
    static std::function<void(const char*)> writer;
    return writer;
}

const char kCannotInit[] = "Cannot init DMP extension\n";

} // namespace

void DMPEnum::SetMessageWriter(std::function<void(const char*)> writer) {
    MessageWriter() = std::move(writer);
}

DMPEnum::DMPEnum(::common::x11::XDisplayBase& display, IDMPEnumNotify* notify)
    : Client(display), m_pNotify(notify) {
    AttachEventHandler(this);
    if (!InitExtension()) {
        if (MessageWriter()) {
            MessageWriter()(kCannotInit);
        } else {
            std::fputs(kCannotInit, stdout);
            std::fflush(stdout);
        }
        platform::Process::Exit(kExitDisplayUnavailable);
    }
}

DMPEnum::~DMPEnum() {
    DetachEventHandler(this);
}

void DMPEnum::Init() {
    wex::common::dmp::InitIndication indication;
    indication.AddService(URI_SMB, {0});
    const auto message = wex::common::dmp::MessageBuffer::Of(indication);
    SendKPDMPData(message.Buffer());
}

bool DMPEnum::ParseURI(const std::string& uri, std::string& host, std::string& share) {
    if (uri.empty())
        return false;
    // Only the first three characters of the scheme are looked at; whatever follows them up to
    // the "//" is accepted, so "smbx//h/s" parses too.
    if (uri.compare(0, 3, URI_SMB) != 0)
        return false;
    const size_t slashes = uri.find("//");
    if (slashes == std::string::npos)
        return false;
    const size_t hostStart = slashes + 2;
    const size_t slash = uri.find('/', hostStart);
    if (slash == std::string::npos)
        return false;
    host = uri.substr(hostStart, slash - hostStart);
    share = uri.substr(slash + 1);
    return true;
}

void DMPEnum::OnKPDMPAddDevice(buffer::Buffer& data) {
    encoding::LEDecodingBufferStream stream(data);
    wex::common::dmp::AddDeviceReq request(stream);
    auto device = std::make_unique<DMPDevice>(request);
    // A repeated id keeps the device it already had; this request is still reported.
    m_devices.emplace(static_cast<int32_t>(request.DeviceID()), std::move(device));

    std::string host, share;
    if (!ParseURI(request.Uri(), host, share) || !m_pNotify)
        return;
    m_pNotify->OnAddDevice(ZrUniString(host.c_str()), ZrUniString(share.c_str()),
                           ZrUniString(request.Username().c_str()), ZrUniString(request.PasswordText()));
    // No confirmation goes back, whatever the controller did.
}

void DMPEnum::OnKPDMPRemoveDevice(buffer::Buffer& data) {
    encoding::LEDecodingBufferStream stream(data);
    wex::common::dmp::RemoveDeviceReq request(stream);
    auto it = m_devices.find(static_cast<int32_t>(request.DeviceID()));
    if (it == m_devices.end())
        return;
    std::string host, share;
    // A stored URI that does not parse keeps its entry.
    if (!ParseURI(it->second->Uri(), host, share))
        return;
    // The removal reports what the device was added with, not anything from this message.
    std::unique_ptr<DMPDevice> device = std::move(it->second);
    m_devices.erase(it);
    if (m_pNotify)
        m_pNotify->OnRemoveDevice(ZrUniString(host.c_str()), ZrUniString(share.c_str()),
                                  ZrUniString(device->Username().c_str()),
                                  ZrUniString(device->PasswordText()));
}
