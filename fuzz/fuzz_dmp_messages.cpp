// Feeds arbitrary bytes to the DMP message parsers, chosen by the first byte: only the stream
// exceptions may come out, and whatever parses must serialise to bytes that parse to the same fields.
// Then the same bytes, cut into messages (each a 16-bit length and that many bytes), go through the
// endpoint as the agent's display hands them over after the peer's init: nothing may come out there.
#include "dmp/dmpenum.h"
#include "dmp/messages/adddeviceconf.h"
#include "dmp/messages/adddevicereq.h"
#include "dmp/messages/init.h"
#include "dmp/messages/initindication.h"
#include "dmp/messages/messagebuffer.h"
#include "dmp/messages/removedeviceconf.h"
#include "dmp/messages/removedevicereq.h"
#include "framework/stream/streamexception.h"

#include <cstdint>
#include <cstdlib>

using namespace wex::common::dmp;

namespace {

template <class Message> void RoundTrip(const uint8_t* data, size_t size) {
    encoding::LEDecodingBufferStream stream{buffer::Buffer(data, size)};
    Message parsed(stream);
    const MessageBuffer bytes = MessageBuffer::Of(parsed);
    encoding::LEDecodingBufferStream again{bytes.Buffer()};
    Message reparsed(again);
    if (!(reparsed == parsed) || again.Remaining() != 0)
        std::abort();
}

class Notify : public IDMPEnumNotify {
public:
    void OnAddDevice(ZrUniString, ZrUniString, ZrUniString, ZrUniString) override {}
    void OnRemoveDevice(ZrUniString, ZrUniString, ZrUniString, ZrUniString) override {}
};

void ThroughTheEndpoint(const uint8_t* data, size_t size) {
    DMPEnum::SetMessageWriter([](bool, const char*) {});
    common::x11::XDisplayBase display;
    Notify notify;
    DMPEnum endpoint(display, &notify);
    uint8_t init[2] = {1, 0};
    buffer::Buffer first(init, sizeof init);
    endpoint.OnKPDMPData(first);
    while (size >= 2) {
        size_t length = static_cast<size_t>(data[0]) | static_cast<size_t>(data[1]) << 8;
        data += 2;
        size -= 2;
        if (length > size)
            length = size;
        buffer::Buffer message(data, length);
        endpoint.OnKPDMPData(message);
        data += length;
        size -= length;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    ThroughTheEndpoint(data, size);
    try {
        switch (data[0] % 6) {
        case 0:
            RoundTrip<AddDeviceReq>(data, size);
            break;
        case 1:
            RoundTrip<AddDeviceConf>(data, size);
            break;
        case 2:
            RoundTrip<RemoveDeviceReq>(data, size);
            break;
        case 3:
            RoundTrip<RemoveDeviceConf>(data, size);
            break;
        case 4:
            RoundTrip<InitIndication>(data + 1, size - 1);
            break;
        case 5:
            RoundTrip<Init>(data + 1, size - 1);
            break;
        }
    } catch (const stream::StreamException&) {
        // Truncated input: the documented outcome.
    }
    return 0;
}
