// The XKPDEV requests and event conversion through real libX11, rdp::XDisplay, the event turn of
// common::x11::XDisplayBase and the DMP client over the extension, against the test display server.
#include "common/x11/xdisplay.h"

#include "common/x11/dmpx11client.h"
#include "common/x11/xkpdev.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/platform/dispatcher.h"
#include "tests/common/x11/testdisplayserver.h"

#include <X11/Xlib.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using Log = std::vector<std::string>;
const common::Duration kStep(0, 50000);

// Runs a test body as the active run of a dispatcher, as the program's main function does.
void InDispatcher(const std::function<void()>& body) {
    dispatch::QExecutorDispatcher dispatcher;
    dispatcher.RunInContext([&](uint32_t) { body(); });
}

// Counts the events it sees, and passes them on.
struct Counter : common::x11::XDisplayBase::IEventHandler {
    bool OnEvent(_XEvent&) override { return ++seen, true; }
    size_t seen = 0;
};

class WithServer : public ::testing::Test {
protected:
    kptest::TestDisplayServer m_server;
};

// The raw requests on a display opened by Xlib alone.
class XKPDev : public WithServer {
protected:
    void SetUp() override { ASSERT_NE(m_display = XOpenDisplay(m_server.Display().c_str()), nullptr); }
    void TearDown() override {
        if (m_display)
            XCloseDisplay(m_display);
    }
    common::x11::XKPDevEvent NextEvent() {
        XEvent event;
        XNextEvent(m_display, &event);
        return *reinterpret_cast<common::x11::XKPDevEvent*>(&event);
    }
    Display* m_display = nullptr;
};

// An error that no handler was registered for reaches Xlib's own handler, which ends the process.
TEST(XDisplayDeathTest, ErrorsFallBackToThePreviousHandler) {
    GTEST_FLAG_SET(death_test_style, getenv("KPATDMCL_EMULATOR") ? "fast" : "threadsafe"); // qemu: no exec
    kptest::TestDisplayServer server;
    EXPECT_EXIT(InDispatcher([&] {
                    rdp::XDisplay display;
                    if (!display.Open(server.Display().c_str()))
                        std::exit(3);
                    XBell(display.GetDisplay(), 0); // refused by the server
                    XSync(display.GetDisplay(), False);
                    std::exit(0);
                }),
                ::testing::ExitedWithCode(1), "BadRequest");
}

// Opens the display with the yield limit `limit` (nullptr: unset), queues `count` extension
// events in one write, and returns how many each turn of HandleEvents handled, '*' marking a
// turn after which the fast event is set. The agent takes its turns by hand, while that event is
// set (the end-to-end suite sends it a burst beyond the limit).
std::string Turns(kptest::TestDisplayServer& server, const char* limit, int count) {
    std::string turns;
    InDispatcher([&] {
        rdp::XDisplay display;
        limit ? setenv("COMMON_X11_EVENTS_YIELD_LIMIT", limit, 1) : unsetenv("COMMON_X11_EVENTS_YIELD_LIMIT");
        const bool opened = display.Open(server.Display().c_str());
        unsetenv("COMMON_X11_EVENTS_YIELD_LIMIT");
        ASSERT_TRUE(opened);
        wex::common::dmp::x11::Client client(display);
        ASSERT_TRUE(client.InitExtension());
        Counter handler;
        display.AttachEventHandler(&handler);
        XSync(display.GetDisplay(), False);
        server.Must("send_raw", "{\"hex\": \"0102\", \"count\": " + std::to_string(count) + "}");
        while (XEventsQueued(display.GetDisplay(), QueuedAfterReading) < count)
            usleep(1000); // everything in Xlib's queue before the turns
        for (size_t seen = 0; seen < size_t(count) && turns.size() < 100;) {
            display.HandleEvents();
            // Appended piece by piece: g++ 12 at -O3 takes "literal" + std::string for an overlapping copy.
            turns += seen ? " " : "";
            turns += std::to_string(handler.seen - seen);
            turns += display.FastEvent().IsSet() ? "*" : "";
            seen = handler.seen;
        }
    });
    return turns;
}

TEST_F(WithServer, EventTurnsStopAtTheYieldLimitAndSetTheFastEvent) {
    const struct {
        const char* limit;
        int count;
        const char* turns;
    } rows[] = {
        {"2", 5, "2* 2* 1"},          // two a turn
        {"-1", 5, "5"},               // negative: no limit
        {"abc", 3, "1* 1* 1"},        // not a number reads as zero, which acts as one
        {"4294967298", 5, "2* 2* 1"}, // cut to 32 bits
        {"3xyz", 4, "3* 1"},          // trailing text ignored
        {nullptr, 40, "32* 8"},       // the default
    };
    for (const auto& row : rows)
        EXPECT_EQ(Turns(m_server, row.limit, row.count), row.turns) << (row.limit ? row.limit : "unset");
}

// A DMP client that records what reaches each handler.
class RecordingClient : public wex::common::dmp::x11::Client {
public:
    using Client::Client;
    void OnKPDMPInit(buffer::Buffer& b) override { Note("init:", b); }
    void OnKPDMPAddDevice(buffer::Buffer& b) override { Note("add:", b); }
    void OnKPDMPRemoveDevice(buffer::Buffer& b) override { Note("remove:", b); }
    void Note(const char* what, const buffer::Buffer& b) {
        log.push_back(what + kptest::Hex(b.Data(), b.Length()));
    }
    Log log;
};

// Each row's commands, sent in order, and what reached the client's handlers. The first inline
// message is taken as a two-byte init; a hostile inline length cannot make it read past the event.
TEST_F(WithServer, DMPClientRoutesMessagesByTypeCode) {
    const std::string init = "{\"cmd\": \"send_init\"}", marker = "remove:020d0000007f7f7f7f00000000";
    const struct {
        std::vector<std::string> commands; // send_raw arguments, or the init above
        Log log;
    } rows[] = {
        {{"{\"hex\": \"0000aabbcc\"}"}, {"init:0000"}},
        {{init, "{\"hex\": \"00070000002a\", \"mode\": \"id\"}", // fetched by its id
          "{\"hex\": \"0105000000\"}",                           // a confirmation code: dropped
          "{\"hex\": \"09\"}",                                   // unknown code: dropped
          "{\"hex\": \"\"}",                                     // empty: nothing to route
          "{\"hex\": \"02aa\", \"kind\": 2}",                    // unknown kind: ignored
          "{\"hex\": \"\", \"kind\": 1}"},                       // names a fetched message that is not there
         {"init:0100", "add:00070000002a"}},
        {{init, "{\"hex\": \"00\", \"inline_length\": 255}"}, {"init:0100", "add:" + std::string(48, '0')}},
    };
    for (const auto& row : rows) {
        InDispatcher([&] {
            platform::Dispatcher dispatcher;
            rdp::XDisplay display;
            ASSERT_TRUE(display.Open(m_server.Display().c_str()));
            RecordingClient client(display);
            client.AttachEventHandler(&client);
            ASSERT_TRUE(client.InitExtension());
            for (const std::string& args : row.commands)
                args == init ? m_server.Must("send_init") : m_server.Must("send_raw", args);
            // A marker after everything: the removal of device 0x7f7f7f7f.
            m_server.Must("remove_device", "{\"device_id\": 2139062143}");
            while (client.log.empty() || client.log.back() != marker)
                dispatcher.Dispatch(&kStep);
            client.log.pop_back();
            EXPECT_EQ(client.log, row.log);
        });
    }
}

// Lengths around the point where the request no longer fits a 16-bit word count; the payload is
// padded with zeros to whole words.
TEST_F(XKPDev, PutConfirmLengthAndPadding) {
    const struct {
        unsigned int bytes;
        bool extended;
        int lengthField;
    } rows[] = {
        {10, false, 4},         // 1 + 3 words
        {262136, false, 65535}, // 1 + 65534 words: the largest ordinary request
        {262137, true, 65537},  // 65536 words, plus the extra length word
    };
    int n = 0;
    for (const auto& row : rows) {
        std::vector<unsigned char> data(row.bytes);
        for (size_t i = 0; i < data.size(); ++i)
            data[i] = static_cast<unsigned char>(i * 7 + 1);
        ASSERT_EQ(XXKPDevPutConfirm(m_display, data.data(), row.bytes), 1);
        const std::string count = "\"count\": " + std::to_string(++n) + "}";
        const auto requests = m_server.Must("wait_request", "{\"name\": \"XKPDEV.PutConfirm\", " + count);
        EXPECT_EQ(requests["requests"][n - 1]["extended"].GetBool(), row.extended) << row.bytes;
        EXPECT_EQ(requests["requests"][n - 1]["length"].GetInt(), row.lengthField) << row.bytes;
        const auto messages = m_server.Must("wait_messages", "{" + count);
        const auto& message = messages["messages"][n - 1];
        // The server reports at most the last 64 bytes of the padded payload.
        data.resize((row.bytes + 3) & ~3u, 0);
        const size_t tail = std::min<size_t>(64, data.size());
        EXPECT_EQ(message["padded_length"].GetUint(), data.size()) << row.bytes;
        EXPECT_EQ(message["tail_hex"].GetString(), kptest::Hex(&data[data.size() - tail], tail)) << row.bytes;
    }
}

int g_errors = 0;

// Inline events carry their bytes and events of the extension's second code never reach Xlib's queue
// (pending ones are fetched in the DMP client's test above). A refused fetch returns 0 and nothing.
TEST_F(XKPDev, EventsAreConvertedAndRefusedFetchesReturnNothing) {
    const int firstEvent = m_server.Must("info")["first_event"].GetInt();
    ASSERT_EQ(XXKPDevRegisterDisplay(m_display), firstEvent);
    XSync(m_display, False);
    m_server.Must("send_raw",
                  "{\"hex\": \"0200112233445566778899aabbccddeeff0102030405\", \"inline_length\": 200}");
    auto ev = NextEvent();
    EXPECT_EQ(ev.type, firstEvent);
    EXPECT_EQ(ev.send_event, 0);
    EXPECT_EQ(ev.display, m_display);
    EXPECT_EQ(ev.kind, common::x11::kXKPDevInline);
    EXPECT_EQ(ev.inlineLength, 200);
    EXPECT_EQ(kptest::Hex(ev.data, 22), "0200112233445566778899aabbccddeeff0102030405");
    // Widened from the wire sequence, which stamps the last request handled: our XSync.
    EXPECT_EQ(ev.serial, XNextRequest(m_display) - 1);

    m_server.Must("burst",
                  R"({"items": [{"hex": "01", "code_offset": 1}, {"hex": "0102", "send_event": true}]})");
    ev = NextEvent(); // the send-event bit is stripped from the type
    EXPECT_EQ(ev.type, firstEvent);
    EXPECT_EQ(ev.send_event, 1);
    EXPECT_EQ(ev.inlineLength, 2);

    m_server.Must("set", "{\"fail_unknown_id\": true}");
    const auto previous = XSetErrorHandler([](Display*, XErrorEvent*) { return ++g_errors, 0; });
    unsigned char* data = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(XXKPDevGetRequest(m_display, &data, &length, 9), 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(g_errors, 1);
    XSetErrorHandler(previous);
}

} // namespace
