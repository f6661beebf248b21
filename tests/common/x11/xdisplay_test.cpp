// rdp::XDisplay, the event turn of common::x11::XDisplayBase and the DMP client over the extension,
// against the test display server inside a running dispatcher.
#include "common/x11/xdisplay.h"

#include "common/x11/dmpx11client.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/network/socketstream.h"
#include "framework/platform/dispatcher.h"
#include "tests/common/x11/testdisplayserver.h"

#include <X11/Xlib.h>

#include <climits>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

using kptest::TestDisplayServer;

// Runs a test body as the active run of a dispatcher, as the program's main function does.
void InDispatcher(const std::function<void()>& body) {
    dispatch::QExecutorDispatcher dispatcher;
    dispatcher.RunInContext([&](uint32_t) { body(); });
}

// Dispatch steps of at most 50 ms until `done` holds.
void PumpUntil(platform::Dispatcher& dispatcher, const std::function<bool()>& done) {
    const common::Duration step(0, 50000);
    while (!done())
        dispatcher.Dispatch(&step);
}

// Blocks until Xlib's queue holds at least `count` events read from the socket.
void WaitQueued(rdp::XDisplay& display, int count) {
    while (XEventsQueued(display.GetDisplay(), QueuedAfterReading) < count)
        usleep(1000);
}

// Sets an environment variable for one scope (nullptr unsets it); the tests run without it, so it
// is unset again afterwards.
struct ScopedEnv {
    ScopedEnv(const char* name, const char* value) : name(name) {
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { unsetenv(name); }
    const char* name;
};

class RecordingNotify : public rdp::XDisplayNotify {
public:
    explicit RecordingNotify(std::string name, std::vector<std::string>& log)
        : m_name(std::move(name)), m_log(log) {}
    void OnDisplayOpen(rdp::XDisplay& d) override {
        m_log.push_back(m_name + ".open");
        XDisplayNotify::OnDisplayOpen(d);
    }
    void OnDisplayClosed(rdp::XDisplay& d) override {
        m_log.push_back(m_name + ".closed:" + (d.IsOpen() ? "open" : "shut"));
        XDisplayNotify::OnDisplayClosed(d);
    }

private:
    std::string m_name;
    std::vector<std::string>& m_log;
};

// Overrides every callback, and passes each one on.
class FullNotify : public rdp::XDisplayNotify {
public:
    explicit FullNotify(std::vector<std::string>& log) : m_log(log) {}
    void OnDisplayOpen(rdp::XDisplay& d) override { Note("open", d); }
    void OnDisplayOpened(rdp::XDisplay& d) override { Note("opened", d); }
    void OnDisplayClose(rdp::XDisplay& d) override { Note("close", d); }
    void OnDisplayClosed(rdp::XDisplay& d) override { Note("closed", d); }

private:
    void Note(const std::string& what, rdp::XDisplay& d) {
        m_log.push_back("full." + what + (d.IsOpen() ? ":open" : ":shut"));
    }
    std::vector<std::string>& m_log;
};

// One test display server per test, and the watchdog over it.
class WithServer : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_server.Ok()); }
    Watchdog m_watchdog{30};
    TestDisplayServer m_server;
};

using XDisplayWithServer = WithServer;

TEST_F(XDisplayWithServer, OpenRegistersTwiceAndNotifiesTheChainInOrder) {
    InDispatcher([&] {
        auto* base = dispatch::DispatcherBase::Get();
        std::vector<std::string> log;
        FullNotify full(log);
        RecordingNotify partial("partial", log);
        const uint64_t before = base->Count();
        {
            rdp::XDisplay display;
            display.AddNotify(&full);
            display.AddNotify(&partial); // now first in the chain
            ASSERT_TRUE(display.Open(m_server.Display().c_str()));
            EXPECT_EQ(base->Count(), before + 2);
            EXPECT_TRUE(display.HasStream());
            EXPECT_EQ(display.Stream().WaitableInput().Waitable().GetWaitObject()->kind, 0u);
            EXPECT_EQ(display.YieldLimit(), 32u);
            EXPECT_EQ(display.LastEventTime(), 0u);
        }
        EXPECT_EQ(base->Count(), before);
        const std::vector<std::string> expected = {"partial.open",        "full.open:shut",
                                                   "full.opened:open",    "full.close:open",
                                                   "partial.closed:shut", "full.closed:shut"};
        EXPECT_EQ(log, expected);
    });
}

TEST(XDisplay, UnopenableDisplayRegistersNothing) {
    InDispatcher([&] {
        auto* base = dispatch::DispatcherBase::Get();
        std::vector<std::string> log;
        FullNotify full(log);
        rdp::XDisplay display;
        display.AddNotify(&full);
        EXPECT_FALSE(display.Open("/nonexistent/kp:77"));
        EXPECT_FALSE(display.IsOpen());
        EXPECT_EQ(base->Count(), 0u);
        EXPECT_EQ(log, std::vector<std::string>{"full.open:shut"});
    });
}

// The server's modifier map puts Mode_switch in a row chosen on its command line.
TEST(XDisplay, FindsTheModeswitchModifierRow) {
    Watchdog watchdog(30);
    for (int row : {7, 3, 0}) {
        TestDisplayServer server({"--modeswitch-row", std::to_string(row)});
        ASSERT_TRUE(server.Ok());
        InDispatcher([&] {
            rdp::XDisplay display;
            ASSERT_TRUE(display.Open(server.Display().c_str()));
            EXPECT_EQ(display.ModeswitchModifier(), row);
        });
    }
}

TEST_F(XDisplayWithServer, ReadsTheYieldLimitWithoutChecking) {
    struct Case {
        const char* text;
        uint64_t limit;
    };
    // Unset, "2", "-1" and "0" show in how the turns run (StopsAtTheYieldLimitAndSetsTheFastEvent).
    const Case cases[] = {
        {"-1", UINT64_MAX}, // negative: sign-extended, so no limit
        {"abc", 0},         // not a number
        {"4294967298", 2},  // truncated to 32 bits
        {"12xyz", 12},      // trailing text ignored
    };
    InDispatcher([&] {
        for (const Case& c : cases) {
            ScopedEnv env("COMMON_X11_EVENTS_YIELD_LIMIT", c.text);
            rdp::XDisplay display;
            ASSERT_TRUE(display.Open(m_server.Display().c_str()));
            EXPECT_EQ(display.YieldLimit(), c.limit) << (c.text ? c.text : "unset");
        }
    });
}

int g_handledErrors = 0;

class CountingErrorHandler : public rdp::IXErrorHandler {
public:
    explicit CountingErrorHandler(int result) : m_result(result) {}
    int OnXError(_XDisplay*, const rdp::XErrorInfo& error) override {
        ++g_handledErrors;
        last = error;
        return m_result;
    }
    rdp::XErrorInfo last{};

private:
    int m_result;
};

TEST_F(XDisplayWithServer, ErrorOfARegisteredRequestGoesToItsHandler) {
    InDispatcher([&] {
        rdp::XDisplay display;
        ASSERT_TRUE(display.Open(m_server.Display().c_str()));
        Display* dpy = display.GetDisplay();
        auto& errors = rdp::XDisplay::X11ErrorHandler::Instance();
        CountingErrorHandler handler(1);
        const unsigned long serial = XNextRequest(dpy);
        errors.Add(dpy, serial, &handler);
        Window root;
        int x, y;
        unsigned int w, h, b, d;
        g_handledErrors = 0;
        XGetGeometry(dpy, DefaultRootWindow(dpy), &root, &x, &y, &w, &h, &b, &d); // the server refuses it
        XSync(dpy, False);
        EXPECT_EQ(g_handledErrors, 1);
        EXPECT_EQ(handler.last.serial, serial);
        EXPECT_EQ(handler.last.errorCode, BadRequest);
        EXPECT_EQ(handler.last.requestCode, 14); // GetGeometry
        EXPECT_EQ(errors.Count(), 1u);
        display.Close();
        EXPECT_EQ(errors.Count(), 0u);
    });
}

TEST(XDisplayDeathTest, UnhandledErrorFallsBackToThePreviousHandler) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TestDisplayServer server;
    ASSERT_TRUE(server.Ok());
    EXPECT_EXIT(InDispatcher([&] {
                    rdp::XDisplay display;
                    if (!display.Open(server.Display().c_str()))
                        std::exit(3);
                    Display* dpy = display.GetDisplay();
                    CountingErrorHandler declines(0);
                    rdp::XDisplay::X11ErrorHandler::Instance().Add(dpy, XNextRequest(dpy), &declines);
                    XBell(dpy, 0); // refused, and the entry declines
                    XSync(dpy, False);
                    std::exit(0);
                }),
                ::testing::ExitedWithCode(1), "BadRequest");
}

// An event handler that counts what it sees and records the event types.
class CountingHandler : public common::x11::XDisplayBase::IEventHandler {
public:
    explicit CountingHandler(bool pass = true) : m_pass(pass) {}
    bool OnEvent(_XEvent& event) override {
        types.push_back(reinterpret_cast<XEvent&>(event).type);
        return m_pass;
    }
    std::vector<int> types;

private:
    bool m_pass;
};

class EventTurn : public WithServer {
protected:
    void SetUp() override {
        WithServer::SetUp();
        m_firstEvent = m_server.Must("info")["first_event"].GetInt();
    }

    // Opens the display, queues `count` extension events in one write, and returns how many each
    // turn of HandleEvents handled until the queue was empty. `byDispatcher` leaves the turns to a
    // dispatcher, which sees no new socket data after the first: only the fast event brings it back.
    std::vector<size_t> Turns(const char* limit, int count, bool byDispatcher) {
        std::vector<size_t> turns;
        InDispatcher([&] {
            ScopedEnv env("COMMON_X11_EVENTS_YIELD_LIMIT", limit);
            std::optional<platform::Dispatcher> dispatcher;
            if (byDispatcher)
                dispatcher.emplace();
            rdp::XDisplay display;
            ASSERT_TRUE(display.Open(m_server.Display().c_str()));
            wex::common::dmp::x11::Client client(display);
            ASSERT_TRUE(client.InitExtension());
            CountingHandler handler;
            display.AttachEventHandler(&handler);
            XSync(display.GetDisplay(), False);
            m_server.Must("send_raw", "{\"hex\": \"0102\", \"count\": " + std::to_string(count) + "}");
            if (byDispatcher) {
                PumpUntil(*dispatcher, [&] { return handler.types.size() == size_t(count); });
                turns.push_back(handler.types.size());
                m_fastSet.push_back(display.FastEvent().IsSet());
                return;
            }
            // Wait until everything has reached Xlib's queue, then take turns by hand.
            WaitQueued(display, count);
            size_t seen = 0;
            for (int turn = 0; turn < count + 1 && seen < size_t(count); ++turn) {
                display.HandleEvents();
                turns.push_back(handler.types.size() - seen);
                seen = handler.types.size();
                m_fastSet.push_back(display.FastEvent().IsSet());
            }
        });
        return turns;
    }

    int m_firstEvent = 0;
    std::vector<bool> m_fastSet;
};

// Each turn stops at the yield limit and sets the fast event while events remain.
TEST_F(EventTurn, StopsAtTheYieldLimitAndSetsTheFastEvent) {
    const struct {
        const char* limit;
        int count;
        std::vector<size_t> turns;
        std::vector<bool> fastSet;
        bool byDispatcher = false;
    } rows[] = {
        {"2", 5, {2, 2, 1}, {true, true, false}},
        {"-1", 5, {5}, {false}},                  // negative: everything in one turn
        {"0", 3, {1, 1, 1}, {true, true, false}}, // zero acts as one
        {nullptr, 40, {32, 8}, {true, false}},    // the default
        {"2", 7, {7}, {false}, true},             // the fast event resumes the turns from the dispatcher
    };
    for (const auto& row : rows) {
        m_fastSet.clear();
        EXPECT_EQ(Turns(row.limit, row.count, row.byDispatcher), row.turns) << row.count;
        EXPECT_EQ(m_fastSet, row.fastSet) << row.count;
    }
}

TEST_F(EventTurn, HandlersSeeEventsInOrderUntilOneDeclines) {
    InDispatcher([&] {
        rdp::XDisplay display;
        ASSERT_TRUE(display.Open(m_server.Display().c_str()));
        wex::common::dmp::x11::Client client(display);
        ASSERT_TRUE(client.InitExtension());
        CountingHandler first, stopper(false), never;
        display.AttachEventHandler(&first);
        display.AttachEventHandler(&stopper);
        display.AttachEventHandler(&never);
        display.DetachEventHandler(&first);
        display.AttachEventHandler(&first); // now last, behind the stopper
        CountingHandler leading;
        client.AttachEventHandler(&leading);
        display.DetachEventHandler(&leading);
        XSync(display.GetDisplay(), False);
        m_server.Must("send_raw", "{\"hex\": \"0102\", \"count\": 2}");
        WaitQueued(display, 2);
        display.HandleEvents();
        EXPECT_EQ(stopper.types, (std::vector<int>{m_firstEvent, m_firstEvent}));
        EXPECT_TRUE(never.types.empty());
        EXPECT_TRUE(first.types.empty());
        EXPECT_TRUE(leading.types.empty());
    });
}

// Core events with a server time update the last event time; others, and a zero time, do not.
TEST_F(EventTurn, RemembersTheLastEventTime) {
    struct Case {
        int type;
        int timeOffset; // where the wire event keeps its time
        unsigned long time;
        unsigned long expect;
    };
    const Case cases[] = {
        {28, 12, 0x1234, 0x1234}, // PropertyNotify
        {28, 12, 0, 0x1234},      // a zero time keeps the old value
        {2, 4, 0x44, 0x44},       // KeyPress
        {33, 12, 0x9999, 0x44},   // ClientMessage carries no time
        {29, 4, 0x5555, 0x5555},  // SelectionClear
        {6, 4, 0x6666, 0x6666},   // MotionNotify
    };
    InDispatcher([&] {
        rdp::XDisplay display;
        ASSERT_TRUE(display.Open(m_server.Display().c_str()));
        CountingHandler handler;
        display.AttachEventHandler(&handler);
        for (const Case& c : cases) {
            unsigned char wire[32] = {};
            wire[0] = static_cast<unsigned char>(c.type);
            for (int i = 0; i < 4; ++i)
                wire[c.timeOffset + i] = static_cast<unsigned char>(c.time >> (8 * i));
            const std::string hex = kptest::Hex(wire, sizeof(wire));
            XSync(display.GetDisplay(), False);
            m_server.Must("send_wire", "{\"hex\": \"" + hex + "\"}");
            const size_t before = handler.types.size();
            while (handler.types.size() == before) {
                WaitQueued(display, 1);
                display.HandleEvents();
            }
            EXPECT_EQ(display.LastEventTime(), c.expect) << hex;
        }
    });
}

// A DMP client that records what reaches each handler.
class RecordingClient : public wex::common::dmp::x11::Client {
public:
    using Client::Client;
    void OnKPDMPInit(buffer::Buffer& b) override { log.push_back("init:" + Hex(b)); }
    void OnKPDMPAddDevice(buffer::Buffer& b) override { log.push_back("add:" + Hex(b)); }
    void OnKPDMPRemoveDevice(buffer::Buffer& b) override { log.push_back("remove:" + Hex(b)); }
    static std::string Hex(const buffer::Buffer& b) { return kptest::Hex(b.Data(), b.Length()); }
    std::vector<std::string> log;
};

class DMPClientOverX : public EventTurn {
protected:
    // Sends each control command, then pumps until the client saw `expected`.
    void Run(const std::vector<std::pair<std::string, std::string>>& commands, size_t expectedCount) {
        InDispatcher([&] {
            platform::Dispatcher dispatcher;
            rdp::XDisplay display;
            ASSERT_TRUE(display.Open(m_server.Display().c_str()));
            RecordingClient client(display);
            client.AttachEventHandler(&client);
            ASSERT_TRUE(client.InitExtension());
            EXPECT_EQ(client.EventCode(), m_firstEvent);
            XSync(display.GetDisplay(), False);
            for (const auto& [cmd, args] : commands)
                m_server.Must(cmd, args);
            // A marker after everything: the remove of device 0x7f7f7f7f.
            m_server.Must("remove_device", "{\"device_id\": 2139062143}");
            PumpUntil(dispatcher, [&] {
                return !client.log.empty() && client.log.back() == "remove:020d0000007f7f7f7f00000000";
            });
            client.log.pop_back();
            m_log = client.log;
            EXPECT_EQ(m_log.size(), expectedCount);
            client.DetachEventHandler(&client);
        });
    }
    std::vector<std::string> m_log;
};

// Each row's commands, sent in order, and what reached the client's handlers.
TEST_F(DMPClientOverX, RoutesMessagesByTypeCode) {
    using Commands = std::vector<std::pair<std::string, std::string>>;
    const struct {
        Commands commands;
        std::vector<std::string> log;
    } rows[] = {
        // The first inline message is taken as a two-byte init.
        {{{"send_raw", "{\"hex\": \"0000aabbcc\"}"}}, {"init:0000"}},
        {{{"send_init", "{}"},
          {"remove_device", "{\"device_id\": 5}"},
          {"send_raw", "{\"hex\": \"00070000002a\", \"mode\": \"id\"}"}, // fetched by its id
          {"send_raw", "{\"hex\": \"0105000000\"}"},                     // a confirmation code: dropped
          {"send_raw", "{\"hex\": \"09\"}"},                             // unknown code: dropped
          {"send_raw", "{\"hex\": \"\"}"},                               // empty: nothing to route
          {"send_raw", "{\"hex\": \"02aa\", \"kind\": 2}"},              // unknown kind: ignored
          {"send_raw", "{\"hex\": \"\", \"kind\": 1}"}}, // names a fetched message that is not there
         {"init:0100", "remove:020d0000000500000000000000", "add:00070000002a"}},
        // A hostile inline length cannot make the client read past the event.
        {{{"send_init", "{}"}, {"send_raw", "{\"hex\": \"00\", \"inline_length\": 255}"}},
         {"init:0100", "add:" + std::string(48, '0')}},
    };
    for (const auto& row : rows) {
        Run(row.commands, row.log.size());
        EXPECT_EQ(m_log, row.log);
    }
}

TEST_F(EventTurn, SendIsSilentUntilTheExtensionIsKnown) {
    InDispatcher([&] {
        rdp::XDisplay display;
        ASSERT_TRUE(display.Open(m_server.Display().c_str()));
        RecordingClient client(display);
        const unsigned char bytes[] = {1, 0, 0, 0};
        client.SendKPDMPData(buffer::Buffer(bytes, 3));
        ASSERT_TRUE(client.InitExtension());
        client.SendKPDMPData(buffer::Buffer(bytes, 4));
        auto reply = m_server.Must("wait_messages", "{\"count\": 1}");
        ASSERT_EQ(reply["messages"].Size(), 1u);
        EXPECT_STREQ(reply["messages"][0]["hex"].GetString(), "01000000");
    });
}

} // namespace
