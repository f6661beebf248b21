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

// Blocks until Xlib's queue holds at least `count` events read from the socket.
void WaitQueued(rdp::XDisplay& display, int count) {
    while (XEventsQueued(display.GetDisplay(), QueuedAfterReading) < count)
        usleep(1000);
}

// Notes every callback with the display's state, then lets the base class pass it on.
class Recorder : public rdp::XDisplayNotify {
public:
    Recorder(std::string name, Log& log) : m_name(std::move(name)), m_log(log) {}
    void OnDisplayOpen(rdp::XDisplay& d) override { Note("open", d), XDisplayNotify::OnDisplayOpen(d); }
    void OnDisplayOpened(rdp::XDisplay& d) override { Note("opened", d), XDisplayNotify::OnDisplayOpened(d); }
    void OnDisplayClose(rdp::XDisplay& d) override { Note("close", d), XDisplayNotify::OnDisplayClose(d); }
    void OnDisplayClosed(rdp::XDisplay& d) override { Note("closed", d), XDisplayNotify::OnDisplayClosed(d); }

private:
    void Note(const char* what, rdp::XDisplay& d) {
        m_log.push_back(m_name + what + (d.IsOpen() ? "+" : "-"));
    }
    std::string m_name;
    Log& m_log;
};

// Records the types of the events it sees; `pass` false stops the handlers behind it.
class Handler : public common::x11::XDisplayBase::IEventHandler {
public:
    explicit Handler(bool pass = true) : m_pass(pass) {}
    bool OnEvent(_XEvent& event) override {
        types.push_back(reinterpret_cast<XEvent&>(event).type);
        return m_pass;
    }
    std::vector<int> types;

private:
    bool m_pass;
};

class WithServer : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_server.Ok()); }
    kptest::TestDisplayServer m_server;
};

// Open registers the socket and the fast event and Close takes both back; the listener added last
// hears first ('+': the display was open at the time). A display that cannot be opened registers
// nothing.
TEST_F(WithServer, RegistersWhileOpenAndNotifiesTheChainInOrder) {
    InDispatcher([&] {
        auto* base = dispatch::DispatcherBase::Get();
        Log log;
        Recorder a("a.", log), b("b.", log);
        {
            rdp::XDisplay display;
            display.AddNotify(&a);
            display.AddNotify(&b);
            ASSERT_TRUE(display.Open(m_server.Display().c_str()));
            EXPECT_EQ(base->Count(), 2u);
        }
        EXPECT_EQ(base->Count(), 0u);
        rdp::XDisplay unopenable;
        unopenable.AddNotify(&a);
        EXPECT_FALSE(unopenable.Open("/nonexistent/kp:77"));
        EXPECT_EQ(base->Count(), 0u);
        EXPECT_EQ(log, (Log{"b.open-", "a.open-", "b.opened+", "a.opened+", "b.close+", "a.close+",
                            "b.closed-", "a.closed-", "a.open-"}));
    });
}

// Returns `result` for every error, after noting it.
class ErrorRecorder : public rdp::IXErrorHandler {
public:
    explicit ErrorRecorder(int result) : m_result(result) {}
    int OnXError(_XDisplay*, const rdp::XErrorInfo& error) override {
        seen.push_back(error);
        return m_result;
    }
    std::vector<rdp::XErrorInfo> seen;

private:
    int m_result;
};

// Opens a display, registers `handler` for the next request, and sends a Bell that the server refuses.
void RefusedBell(const std::string& name, rdp::IXErrorHandler& handler,
                 std::function<void(rdp::XDisplay&)> then) {
    InDispatcher([&] {
        rdp::XDisplay display;
        ASSERT_TRUE(display.Open(name.c_str()));
        rdp::XDisplay::X11ErrorHandler::Instance().Add(display.GetDisplay(),
                                                       XNextRequest(display.GetDisplay()), &handler);
        XBell(display.GetDisplay(), 0);
        XSync(display.GetDisplay(), False);
        then(display);
    });
}

TEST_F(WithServer, ErrorOfARegisteredRequestGoesToItsHandlerUntilClose) {
    ErrorRecorder handler(1);
    auto& errors = rdp::XDisplay::X11ErrorHandler::Instance();
    RefusedBell(m_server.Display(), handler, [&](rdp::XDisplay& display) {
        ASSERT_EQ(handler.seen.size(), 1u);
        EXPECT_EQ(handler.seen[0].serial, XNextRequest(display.GetDisplay()) - 2); // Bell, then the sync
        EXPECT_EQ(handler.seen[0].errorCode, BadRequest);
        EXPECT_EQ(handler.seen[0].requestCode, 104); // Bell
        EXPECT_EQ(errors.Count(), 1u);
        display.Close();
        EXPECT_EQ(errors.Count(), 0u);
    });
}

// A handler that declines leaves the error to Xlib's own handler, which ends the process.
TEST(XDisplayDeathTest, DeclinedErrorFallsBackToThePreviousHandler) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    kptest::TestDisplayServer server;
    ErrorRecorder declines(0);
    EXPECT_EXIT(RefusedBell(server.Display(), declines, [](rdp::XDisplay&) { std::exit(0); }),
                ::testing::ExitedWithCode(1), "BadRequest");
}

class EventTurn : public WithServer {
protected:
    // Opens the display with the yield limit `limit` (nullptr: unset), queues `count` extension
    // events in one write, and returns how many each turn of HandleEvents handled, '*' marking a
    // turn after which the fast event is set. `byDispatcher` leaves the turns to a dispatcher, which
    // sees no new socket data after the first: only the fast event brings it back.
    std::string Turns(const char* limit, int count, bool byDispatcher) {
        std::string turns;
        InDispatcher([&] {
            std::optional<platform::Dispatcher> dispatcher;
            if (byDispatcher)
                dispatcher.emplace();
            rdp::XDisplay display;
            limit ? setenv("COMMON_X11_EVENTS_YIELD_LIMIT", limit, 1)
                  : unsetenv("COMMON_X11_EVENTS_YIELD_LIMIT");
            const bool opened = display.Open(m_server.Display().c_str());
            unsetenv("COMMON_X11_EVENTS_YIELD_LIMIT");
            ASSERT_TRUE(opened);
            wex::common::dmp::x11::Client client(display);
            ASSERT_TRUE(client.InitExtension());
            Handler handler;
            display.AttachEventHandler(&handler);
            XSync(display.GetDisplay(), False);
            m_server.Must("send_raw", "{\"hex\": \"0102\", \"count\": " + std::to_string(count) + "}");
            if (!byDispatcher)
                WaitQueued(display, count);
            for (size_t seen = 0; seen < size_t(count) && turns.size() < 100;) {
                while (dispatcher && handler.types.size() < size_t(count))
                    dispatcher->Dispatch(&kStep);
                if (!dispatcher)
                    display.HandleEvents();
                turns += (seen ? " " : "") + std::to_string(handler.types.size() - seen);
                turns += display.FastEvent().IsSet() ? "*" : "";
                seen = handler.types.size();
            }
        });
        return turns;
    }
};

TEST_F(EventTurn, StopsAtTheYieldLimitAndSetsTheFastEvent) {
    const struct {
        const char* limit;
        int count;
        const char* turns;
        bool byDispatcher = false;
    } rows[] = {
        {"2", 5, "2* 2* 1"},          // two a turn          {"-1", 5, "5"}, // negative: no limit
        {"0", 3, "1* 1* 1"},          // zero acts as one
        {"abc", 2, "1* 1"},           // not a number reads as zero
        {"4294967298", 5, "2* 2* 1"}, // cut to 32 bits
        {"3xyz", 4, "3* 1"},          // trailing text ignored
        {nullptr, 40, "32* 8"},       // the default
        {"2", 7, "7", true},          // the fast event resumes the turns from the dispatcher
    };
    for (const auto& row : rows)
        EXPECT_EQ(Turns(row.limit, row.count, row.byDispatcher), row.turns)
            << (row.limit ? row.limit : "unset");
}

TEST_F(EventTurn, HandlersSeeEventsInOrderUntilOneDeclines) {
    InDispatcher([&] {
        rdp::XDisplay display;
        ASSERT_TRUE(display.Open(m_server.Display().c_str()));
        wex::common::dmp::x11::Client client(display);
        ASSERT_TRUE(client.InitExtension());
        Handler first, stopper(false), never, leading;
        display.AttachEventHandler(&first);
        display.AttachEventHandler(&stopper);
        display.AttachEventHandler(&never);
        display.DetachEventHandler(&first);
        display.AttachEventHandler(&first); // now last, behind the stopper
        client.AttachEventHandler(&leading);
        display.DetachEventHandler(&leading);
        XSync(display.GetDisplay(), False);
        m_server.Must("send_raw", "{\"hex\": \"0102\", \"count\": 2}");
        WaitQueued(display, 2);
        display.HandleEvents();
        EXPECT_EQ(stopper.types, std::vector<int>(2, client.EventCode()));
        EXPECT_EQ(never.types.size() + first.types.size() + leading.types.size(), 0u);
    });
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
            client.DetachEventHandler(&client);
        });
    }
}

} // namespace
