// The XKPDEV requests and event conversion against the test display server,
// through real libX11.
#include "common/x11/xkpdev.h"

#include "tests/common/x11/testdisplayserver.h"

#include <X11/Xlib.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using common::x11::XKPDevEvent;
using kptest::TestDisplayServer;

class XKPDevRequests : public ::testing::Test {
protected:
    void Open(std::vector<std::string> args = {}) {
        m_server = std::make_unique<TestDisplayServer>(std::move(args));
        ASSERT_TRUE(m_server->Ok());
        m_display = XOpenDisplay(m_server->Display().c_str());
        ASSERT_NE(m_display, nullptr);
        auto info = m_server->Must("info");
        m_firstEvent = info["first_event"].GetInt();
    }

    void TearDown() override {
        if (m_display)
            XCloseDisplay(m_display);
    }

    // Waits until the server has recorded `count` messages from this client.
    rapidjson::Document Messages(int count) {
        return m_server->Must("wait_messages", "{\"count\": " + std::to_string(count) + ", \"timeout\": 10}");
    }

    XKPDevEvent NextEvent() {
        XEvent event;
        XNextEvent(m_display, &event);
        return *reinterpret_cast<XKPDevEvent*>(&event);
    }

    Watchdog m_watchdog{60};
    std::unique_ptr<TestDisplayServer> m_server;
    Display* m_display = nullptr;
    int m_firstEvent = 0;
};

TEST_F(XKPDevRequests, PutConfirmSendsPaddedMessage) {
    Open();
    const unsigned char init[] = {0x01, 0x00, 0x01, 0x00, 0x03, 0x00, 0x73, 0x6D, 0x62, 0x01, 0x00, 0x00};
    ASSERT_EQ(XXKPDevPutConfirm(m_display, init, sizeof(init)), 1);
    const unsigned char conf[] = {0x03, 0x0A, 0x00, 0x00, 0x00, 0x07, 0x00, 0x00, 0x00, 0x01};
    ASSERT_EQ(XXKPDevPutConfirm(m_display, conf, sizeof(conf)), 1);
    auto reply = Messages(2);
    const auto& msgs = reply["messages"];
    EXPECT_STREQ(msgs[0]["hex"].GetString(), "010001000300736d62010000");
    EXPECT_EQ(msgs[0]["padded_length"].GetInt(), 12);
    EXPECT_STREQ(msgs[1]["hex"].GetString(), "030a0000000700000001");
    // Ten message bytes travel in three words, the padding zero-filled.
    EXPECT_EQ(msgs[1]["padded_length"].GetInt(), 12);
    EXPECT_STREQ(msgs[1]["tail_hex"].GetString(), "030a00000007000000010000");
    auto requests = m_server->Must("wait_request", "{\"name\": \"XKPDEV.PutConfirm\", \"count\": 2}");
    EXPECT_EQ(requests["requests"][1]["length"].GetInt(), 4);
    EXPECT_FALSE(requests["requests"][1]["extended"].GetBool());
}

// Lengths around the point where the request no longer fits a 16-bit word count.
TEST_F(XKPDevRequests, PutConfirmSwitchesToExtendedLengthAtSixtyFiveThousandWords) {
    Open();
    struct Case {
        unsigned int bytes;
        bool extended;
        int lengthField;
    };
    const Case cases[] = {
        {262136, false, 65535}, // 1 + 65534 words: the largest ordinary request
        {262137, true, 65537},  // 65536 words, plus the extra length word
        {300001, true, 75003},
    };
    int count = 0;
    for (const Case& c : cases) {
        std::vector<unsigned char> data(c.bytes);
        for (size_t i = 0; i < data.size(); ++i)
            data[i] = static_cast<unsigned char>(i * 7 + 1);
        ASSERT_EQ(XXKPDevPutConfirm(m_display, data.data(), c.bytes), 1);
        ++count;
        auto requests = m_server->Must(
            "wait_request", "{\"name\": \"XKPDEV.PutConfirm\", \"count\": " + std::to_string(count) + "}");
        const auto& req = requests["requests"][count - 1];
        EXPECT_EQ(req["extended"].GetBool(), c.extended) << c.bytes;
        EXPECT_EQ(req["length"].GetInt(), c.lengthField) << c.bytes;
        auto msgs = Messages(count);
        const auto& msg = msgs["messages"][count - 1];
        EXPECT_EQ(msg["padded_length"].GetUint(), (c.bytes + 3) & ~3u) << c.bytes;
        // The server reports the last 64 bytes of the padded payload.
        std::vector<unsigned char> padded(data);
        padded.resize((c.bytes + 3) & ~3u, 0);
        const std::string expectTail = kptest::Hex(padded.data() + padded.size() - 64, 64);
        EXPECT_EQ(msg["tail_hex"].GetString(), expectTail) << c.bytes;
    }
    XSync(m_display, False);
}

// Without big requests the length field stays 1 and the bytes still go out. The
// bytes chosen here read as 65,536 one-word NoOperation requests, which keeps the
// 16-bit sequence numbers of both sides in step.
TEST_F(XKPDevRequests, PutConfirmWithoutBigRequestsLeavesLengthOne) {
    Open({"--no-bigreq"});
    std::vector<unsigned char> data(262144);
    for (size_t i = 0; i < data.size(); i += 4) {
        data[i] = 127;
        data[i + 2] = 1;
    }
    ASSERT_EQ(XXKPDevPutConfirm(m_display, data.data(), static_cast<unsigned int>(data.size())), 1);
    auto requests = m_server->Must("wait_request", "{\"name\": \"XKPDEV.PutConfirm\"}");
    EXPECT_EQ(requests["requests"][0]["length"].GetInt(), 1);
    EXPECT_FALSE(requests["requests"][0]["extended"].GetBool());
    m_server->Must("wait_request", "{\"name\": \"NoOperation\", \"count\": 65536}");
    XSync(m_display, False);
}

TEST_F(XKPDevRequests, InlineEventsAreConverted) {
    Open();
    ASSERT_EQ(XXKPDevRegisterDisplay(m_display), 1);
    XSync(m_display, False);
    m_server->Must("send_raw",
                   "{\"hex\": \"0200112233445566778899aabbccddeeff0102030405\", \"inline_length\": 200}");
    XKPDevEvent ev = NextEvent();
    EXPECT_EQ(ev.type, m_firstEvent);
    EXPECT_EQ(ev.send_event, 0);
    EXPECT_EQ(ev.display, m_display);
    EXPECT_EQ(ev.kind, common::x11::kXKPDevInline);
    EXPECT_EQ(ev.inlineLength, 200);
    EXPECT_EQ(kptest::Hex(ev.data, 22), "0200112233445566778899aabbccddeeff0102030405");
    // The serial is widened from the wire sequence: the server stamps the last
    // request it handled, which was our XSync's.
    EXPECT_EQ(ev.serial, XNextRequest(m_display) - 1);

    // The send-event bit is stripped from the type.
    m_server->Must("send_raw", "{\"hex\": \"0102\", \"send_event\": true}");
    ev = NextEvent();
    EXPECT_EQ(ev.type, m_firstEvent);
    EXPECT_EQ(ev.send_event, 1);
    EXPECT_EQ(ev.inlineLength, 2);
}

TEST_F(XKPDevRequests, PendingEventFetchesMessageById) {
    Open();
    ASSERT_EQ(XXKPDevRegisterDisplay(m_display), 1);
    XSync(m_display, False);
    std::string hex;
    for (int i = 0; i < 101; ++i)
        hex += "5a";
    m_server->Must("send_raw", "{\"hex\": \"" + hex + "\", \"mode\": \"id\", \"request_id\": 4660}");
    XKPDevEvent ev = NextEvent();
    ASSERT_EQ(ev.kind, common::x11::kXKPDevPending);
    EXPECT_EQ(ev.requestId, 4660);
    unsigned char* data = nullptr;
    unsigned int length = 0;
    ASSERT_EQ(XXKPDevGetRequest(m_display, &data, &length, static_cast<unsigned short>(ev.requestId)), 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(length, 101u);
    EXPECT_EQ(kptest::Hex(data, length), hex);
    XFree(data);
    auto requests = m_server->Must("wait_request", "{\"name\": \"XKPDEV.GetRequest\"}");
    EXPECT_EQ(requests["requests"][0]["request_id"].GetInt(), 4660);

    // The server forgets a message once fetched: asking again yields nothing.
    data = nullptr;
    length = 77;
    ASSERT_EQ(XXKPDevGetRequest(m_display, &data, &length, 4660), 1);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 77u);
}

int g_errors = 0;
int CountError(Display*, XErrorEvent*) {
    ++g_errors;
    return 0;
}

TEST_F(XKPDevRequests, FailedGetRequestReplyReturnsZero) {
    Open();
    m_server->Must("set", "{\"fail_unknown_id\": true}");
    auto previous = XSetErrorHandler(CountError);
    g_errors = 0;
    unsigned char* data = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(XXKPDevGetRequest(m_display, &data, &length, 9), 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(g_errors, 1);
    XSetErrorHandler(previous);
}

TEST_F(XKPDevRequests, SecondEventCodeNeverReachesTheQueue) {
    Open();
    ASSERT_EQ(XXKPDevRegisterDisplay(m_display), 1);
    XSync(m_display, False);
    m_server->Must("burst", "{\"items\": [{\"hex\": \"01\", \"code_offset\": 1}, {\"hex\": \"0203\"}]}");
    XKPDevEvent ev = NextEvent();
    EXPECT_EQ(ev.type, m_firstEvent);
    EXPECT_EQ(ev.inlineLength, 2);
    XSync(m_display, False);
    EXPECT_EQ(XPending(m_display), 0);
}

TEST_F(XKPDevRequests, MissingExtensionIsReportedAndRequestsFail) {
    Open({"--no-xkpdev"});
    int major = 0, minor = 0;
    const unsigned char byte = 0;
    EXPECT_EQ(XXKPDevRegisterDisplay(m_display), 0);
    EXPECT_EQ(XXKPDevQueryVersion(m_display, &major, &minor), 0);
    EXPECT_EQ(XXKPDevPutConfirm(m_display, &byte, 1), 0);
    unsigned char* data = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(XXKPDevGetRequest(m_display, &data, &length, 1), 0);
    XSync(m_display, False);
    auto requests = m_server->Must("requests");
    for (const auto& r : requests["requests"].GetArray())
        EXPECT_STRNE(r["name"].GetString(), "Unknown");
}

// Closing one display drops only its bookkeeping; a second display keeps working. The version
// reply carries both halves.
TEST_F(XKPDevRequests, CloseDisplayForgetsOnlyThatDisplay) {
    Open();
    Display* other = XOpenDisplay(m_server->Display().c_str());
    ASSERT_NE(other, nullptr);
    ASSERT_EQ(XXKPDevRegisterDisplay(other), 1);
    ASSERT_EQ(XXKPDevRegisterDisplay(m_display), 1);
    XCloseDisplay(other);
    // A new connection may reuse the freed address; it must get a fresh record.
    other = XOpenDisplay(m_server->Display().c_str());
    ASSERT_NE(other, nullptr);
    int major = -1, minor = -1;
    EXPECT_EQ(XXKPDevQueryVersion(other, &major, &minor), 1);
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 0);
    EXPECT_EQ(XXKPDevQueryVersion(m_display, &major, &minor), 1);
    XCloseDisplay(other);
}

} // namespace
