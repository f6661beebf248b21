#include "dmp/dmpenum.h"

#include "dmp/messages/adddevicereq.h"
#include "dmp/messages/initindication.h"
#include "dmp/messages/messagebuffer.h"
#include "dmp/messages/removedevicereq.h"
#include "framework/encoding/decodingstream.h"
#include "framework/exception/exception.h"

#include <cstdio>
#include <utility>

namespace {

std::function<void(bool, const char*)>& MessageWriter() {
    static std::function<void(bool, const char*)> writer;
    return writer;
}

void Write(bool error, const char* text) {
    if (MessageWriter()) {
        MessageWriter()(error, text);
        return;
    }
    std::fputs(text, error ? stderr : stdout);
    std::fflush(error ? stderr : stdout);
}

} // namespace

void DMPEnum::SetMessageWriter(std::function<void(bool, const char*)> writer) {
    MessageWriter() = std::move(writer);
}

DMPEnum::DMPEnum(::common::x11::XDisplayBase& display, IDMPEnumNotify* notify)
    : Client(display), m_pNotify(notify) {
    AttachEventHandler(this);
    m_hasExtension = InitExtension();
    if (!m_hasExtension)
        Write(false, "Cannot init DMP extension\n");
}

template <class Request> std::unique_ptr<Request> DMPEnum::Parse(buffer::Buffer& data) {
    // Whatever the peer sends, the agent goes on: a message that does not parse is dropped here,
    // before anything changes.
    try {
        encoding::LEDecodingBufferStream stream(data);
        return std::make_unique<Request>(stream);
    } catch (const exception::Exception&) {
        // The stream's short reads, and an allocation the announced counts could not get.
        ReportMalformed();
        return nullptr;
    }
}

void DMPEnum::OnKPDMPUnknown(buffer::Buffer&) {
    ReportMalformed();
}

void DMPEnum::ReportMalformed() {
    const std::string line =
        std::string("Dropped a malformed device message: ") + Display().DisplayName() + "\n";
    Write(true, line.c_str());
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
    const auto parsed = Parse<wex::common::dmp::AddDeviceReq>(data);
    if (!parsed)
        return;
    const wex::common::dmp::AddDeviceReq& request = *parsed;
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
    const auto request = Parse<wex::common::dmp::RemoveDeviceReq>(data);
    if (!request)
        return;
    auto it = m_devices.find(static_cast<int32_t>(request->DeviceID()));
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
