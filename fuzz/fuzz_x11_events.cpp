// Drives the X transport's event path without a server: the input is a run of 32-byte extension
// events, each pending one followed by what the fake fetch answers (a status byte, a 16-bit length
// and that many bytes). Checks that the first delivered message goes to the init handler (two
// bytes when inline), that inline messages are the event's own bytes cut at 24, that fetched
// messages arrive whole, and that requests reach their handlers by type code only.
#include "common/x11/dmpx11client.h"
#include "common/x11/xdisplaybase.h"
#include "common/x11/xkpdev.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using common::x11::XKPDevEvent;

constexpr int kEventCode = 90;
constexpr size_t kWireEvent = 32;

class Harness : public wex::common::dmp::x11::Client {
public:
    explicit Harness(common::x11::XDisplayBase& display) : Client(display) { m_eventCode = kEventCode; }

    // The fake fetch takes its answer from the input after the event.
    const uint8_t* input = nullptr;
    size_t left = 0;
    // What the current event should deliver; null when nothing.
    const uint8_t* expected = nullptr;
    size_t expectedLength = 0;
    bool delivered = false;

    void SendKPDMPData(const buffer::Buffer&) override {}

    void OnKPDMPInit(buffer::Buffer& data) override {
        if (IsInitialised())
            std::abort();
        Check(data);
    }
    void OnKPDMPAddDevice(buffer::Buffer& data) override { CheckRequest(data, kAddDeviceReq); }
    void OnKPDMPRemoveDevice(buffer::Buffer& data) override { CheckRequest(data, kRemoveDeviceReq); }

    bool GetRequest(unsigned short, unsigned char** data, unsigned int* length) override {
        if (left < 3)
            return false;
        const uint8_t status = input[0];
        size_t n = static_cast<size_t>(input[1]) | static_cast<size_t>(input[2]) << 8;
        input += 3;
        left -= 3;
        if (n > left)
            n = left;
        const uint8_t* bytes = input;
        input += n;
        left -= n;
        if (status % 4 == 0)
            return false; // the fetch failed
        if (status % 4 == 1)
            return true; // the server held nothing
        // Released by the transport with XFree, which frees what malloc gave.
        auto* block = static_cast<unsigned char*>(std::malloc(n ? n : 1));
        std::memcpy(block, bytes, n);
        *data = block;
        *length = static_cast<unsigned int>(n);
        expected = bytes;
        expectedLength = n;
        return true;
    }

private:
    void Check(const buffer::Buffer& data) {
        if (!expected || data.Length() != expectedLength ||
            (expectedLength && std::memcmp(data.Data(), expected, expectedLength) != 0))
            std::abort();
        delivered = true;
    }
    void CheckRequest(const buffer::Buffer& data, uint8_t type) {
        if (!IsInitialised() || data.Length() == 0 || data.Data()[0] != type)
            std::abort();
        Check(data);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    common::x11::XDisplayBase display;
    Harness client(display);
    while (size >= kWireEvent) {
        const uint8_t* wire = data;
        data += kWireEvent;
        size -= kWireEvent;
        // Room for any XEvent: the transport reads the extension's fields only.
        alignas(XKPDevEvent) unsigned char storage[192] = {};
        auto* event = reinterpret_cast<XKPDevEvent*>(storage);
        common::x11::XKPDevDecodeWireEvent(wire, event);
        if (event->type != (wire[0] & 0x7F) || event->kind != wire[4] || event->inlineLength != wire[8] ||
            event->data[23] != 0 || std::memcmp(event->data, wire + 9, 23) != 0)
            std::abort();

        const bool wasInitialised = client.IsInitialised();
        client.input = data;
        client.left = size;
        client.expected = nullptr;
        client.delivered = false;
        if (event->type == kEventCode && event->kind == common::x11::kXKPDevInline) {
            client.expected = event->data;
            client.expectedLength =
                wasInitialised ? (event->inlineLength < 24 ? event->inlineLength : 24) : 2;
        }
        client.OnEvent(*reinterpret_cast<_XEvent*>(storage));
        // Only a fetch consumes input; other events leave it alone.
        if (event->type != kEventCode || event->kind != common::x11::kXKPDevPending) {
            if (client.left != size)
                std::abort();
        }
        // The first message that arrives, whatever its bytes, is the init message.
        if (!wasInitialised && client.delivered != client.IsInitialised())
            std::abort();
        data = client.input;
        size = client.left;
    }
    return 0;
}
