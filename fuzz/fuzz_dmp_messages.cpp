// Feeds arbitrary bytes to the DMP message parsers, chosen by the first byte. Only the stream
// exceptions may come out; whatever parses must serialise to bytes that parse to the same fields.
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
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
