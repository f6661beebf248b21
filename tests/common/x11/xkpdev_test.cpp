// The XKPDEV requests and event conversion through real libX11, against the test display server.
#include "common/x11/xkpdev.h"

#include "tests/common/x11/testdisplayserver.h"

#include <X11/Xlib.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using common::x11::XKPDevEvent;

class XKPDev : public ::testing::Test {
protected:
    void Open(std::vector<std::string> args = {}) {
        m_server = std::make_unique<kptest::TestDisplayServer>(std::move(args));
        ASSERT_TRUE(m_server->Ok());
        ASSERT_NE(m_display = XOpenDisplay(m_server->Display().c_str()), nullptr);
    }
    void TearDown() override {
        if (m_display)
            XCloseDisplay(m_display);
    }
    // The n-th (from 1) request of that name the server saw.
    rapidjson::Document Request(const char* name, int n = 1) {
        auto all = m_server->Must("wait_request", "{\"name\": \"" + std::string(name) +
                                                      "\", \"count\": " + std::to_string(n) + "}");
        rapidjson::Document one;
        one.CopyFrom(all["requests"][n - 1], one.GetAllocator());
        return one;
    }
    XKPDevEvent NextEvent() {
        XEvent event;
        XNextEvent(m_display, &event);
        return *reinterpret_cast<XKPDevEvent*>(&event);
    }

    std::unique_ptr<kptest::TestDisplayServer> m_server;
    Display* m_display = nullptr;
};

// Lengths around the point where the request no longer fits a 16-bit word count; the payload is
// padded with zeros to whole words.
TEST_F(XKPDev, PutConfirmLengthAndPadding) {
    Open();
    const struct {
        unsigned int bytes;
        bool extended;
        int lengthField;
    } rows[] = {
        {10, false, 4},         // 1 + 3 words
        {262136, false, 65535}, // 1 + 65534 words: the largest ordinary request
        {262137, true, 65537},  // 65536 words, plus the extra length word
        {300001, true, 75003},
    };
    int n = 0;
    for (const auto& row : rows) {
        std::vector<unsigned char> data(row.bytes);
        for (size_t i = 0; i < data.size(); ++i)
            data[i] = static_cast<unsigned char>(i * 7 + 1);
        ASSERT_EQ(XXKPDevPutConfirm(m_display, data.data(), row.bytes), 1);
        const auto request = Request("XKPDEV.PutConfirm", ++n);
        EXPECT_EQ(request["extended"].GetBool(), row.extended) << row.bytes;
        EXPECT_EQ(request["length"].GetInt(), row.lengthField) << row.bytes;
        const auto messages = m_server->Must("wait_messages", "{\"count\": " + std::to_string(n) + "}");
        const auto& message = messages["messages"][n - 1];
        // The server reports at most the last 64 bytes of the padded payload.
        data.resize((row.bytes + 3) & ~3u, 0);
        const size_t tail = std::min<size_t>(64, data.size());
        EXPECT_EQ(message["padded_length"].GetUint(), data.size()) << row.bytes;
        EXPECT_EQ(message["tail_hex"].GetString(), kptest::Hex(&data[data.size() - tail], tail)) << row.bytes;
    }
}

int g_errors = 0;

// Inline events carry their bytes, pending ones name a message that GetRequest fetches, and events
// of the extension's second code never reach Xlib's queue. A refused fetch returns 0 and nothing.
TEST_F(XKPDev, EventsAreConvertedAndPendingMessagesFetched) {
    Open();
    const int firstEvent = m_server->Must("info")["first_event"].GetInt();
    ASSERT_EQ(XXKPDevRegisterDisplay(m_display), 1);
    XSync(m_display, False);
    m_server->Must("send_raw",
                   "{\"hex\": \"0200112233445566778899aabbccddeeff0102030405\", \"inline_length\": 200}");
    XKPDevEvent ev = NextEvent();
    EXPECT_EQ(ev.type, firstEvent);
    EXPECT_EQ(ev.send_event, 0);
    EXPECT_EQ(ev.display, m_display);
    EXPECT_EQ(ev.kind, common::x11::kXKPDevInline);
    EXPECT_EQ(ev.inlineLength, 200);
    EXPECT_EQ(kptest::Hex(ev.data, 22), "0200112233445566778899aabbccddeeff0102030405");
    // Widened from the wire sequence, which stamps the last request handled: our XSync.
    EXPECT_EQ(ev.serial, XNextRequest(m_display) - 1);

    const std::string hex(202, 'a');
    m_server->Must("burst",
                   "{\"items\": [{\"hex\": \"01\", \"code_offset\": 1}, {\"hex\": \"0102\", \"send_event\": "
                   "true}, {\"hex\": \"" +
                       hex + "\", \"mode\": \"id\", \"request_id\": 4660}]}");
    ev = NextEvent(); // the send-event bit is stripped from the type
    EXPECT_EQ(ev.type, firstEvent);
    EXPECT_EQ(ev.send_event, 1);
    EXPECT_EQ(ev.inlineLength, 2);
    ev = NextEvent();
    ASSERT_EQ(ev.kind, common::x11::kXKPDevPending);
    EXPECT_EQ(ev.requestId, 4660);
    unsigned char* data = nullptr;
    unsigned int length = 0;
    ASSERT_EQ(XXKPDevGetRequest(m_display, &data, &length, static_cast<unsigned short>(ev.requestId)), 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(kptest::Hex(data, length), hex);
    XFree(data);
    data = nullptr;
    EXPECT_EQ(Request("XKPDEV.GetRequest")["request_id"].GetInt(), 4660);
    XSync(m_display, False);
    EXPECT_EQ(XPending(m_display), 0);

    m_server->Must("set", "{\"fail_unknown_id\": true}");
    const auto previous = XSetErrorHandler([](Display*, XErrorEvent*) { return ++g_errors, 0; });
    EXPECT_EQ(XXKPDevGetRequest(m_display, &data, &length, 9), 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(g_errors, 1);
    XSetErrorHandler(previous);
}

} // namespace
