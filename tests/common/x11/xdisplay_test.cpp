// rdp::XDisplay, the event turn of common::x11::XDisplayBase and the DMP client over the extension,
// against the test display server inside a running dispatcher.
#include "common/x11/xdisplay.h"

#include "common/x11/dmpx11client.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/network/socketstream.h"
#include "framework/platform/dispatcher.h"
#include "tests/common/x11/testdisplayserver.h"

#include <X11/Xlib.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

using Log = std::vector<std::string>;
const common::Duration kStep(0, 50000);
const unsigned char kOwn[] = {1, 0, 0, 0};

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

// An error that no handler was registered for reaches Xlib's own handler, which ends the process.
TEST(XDisplayDeathTest, ErrorsFallBackToThePreviousHandler) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
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
// turn after which the fast event is set. `byDispatcher` leaves the turns to a dispatcher, which
// sees no new socket data after the first: only the fast event brings it back.
std::string Turns(kptest::TestDisplayServer& server, const char* limit, int count, bool byDispatcher) {
    std::string turns;
    InDispatcher([&] {
        std::optional<platform::Dispatcher> dispatcher;
        if (byDispatcher)
            dispatcher.emplace();
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
        while (!byDispatcher && XEventsQueued(display.GetDisplay(), QueuedAfterReading) < count)
            usleep(1000); // everything in Xlib's queue before the turns by hand
        for (size_t seen = 0; seen < size_t(count) && turns.size() < 100;) {
            while (dispatcher && handler.seen < size_t(count))
                dispatcher->Dispatch(&kStep);
            if (!dispatcher)
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
        bool byDispatcher = false;
    } rows[] = {
        {"2", 5, "2* 2* 1"},          // two a turn
        {"-1", 5, "5"},               // negative: no limit
        {"0", 3, "1* 1* 1"},          // zero acts as one
        {"abc", 2, "1* 1"},           // not a number reads as zero
        {"4294967298", 5, "2* 2* 1"}, // cut to 32 bits
        {"3xyz", 4, "3* 1"},          // trailing text ignored
        {nullptr, 40, "32* 8"},       // the default
        {"2", 7, "7", true},          // the fast event resumes the turns from the dispatcher
    };
    for (const auto& row : rows)
        EXPECT_EQ(Turns(m_server, row.limit, row.count, row.byDispatcher), row.turns)
            << (row.limit ? row.limit : "unset");
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
// Of the client's own messages only those sent once the extension is known go out.
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
            client.SendKPDMPData(buffer::Buffer(kOwn, 3));
            ASSERT_TRUE(client.InitExtension());
            client.SendKPDMPData(buffer::Buffer(kOwn, 4));
            XSync(display.GetDisplay(), False);
            const auto sent = m_server.Must("messages");
            ASSERT_EQ(sent["messages"].Size(), 1u);
            EXPECT_STREQ(sent["messages"][0]["hex"].GetString(), "01000000");
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

} // namespace
