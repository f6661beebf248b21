// DMPEnum and DMPManager over real libX11: the test display server plays the remote side, a
// recording notify target plays the controller.
#include "dmp/dmpmanager.h"

#include "framework/dispatch/dispatch.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/platform/dispatcher.h"
#include "tests/common/x11/testdisplayserver.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;
const char kInitIndicationHex[] = "010001000300736d62010000";

TEST(DMPEnumParseURI, SplitsHostAndShare) {
    const struct {
        const char *uri, *host, *share; // host nullptr: refused
    } rows[] = {
        {"smb://server/share", "server", "share"},
        {"smb://h/s/d", "h", "s/d"},         // further slashes stay in the share
        {"smb:///share", "", "share"},       // empty host
        {"smb://h/", "h", ""},               // empty share
        {"smbx//h/s", "h", "s"},             // only "smb" of the scheme is checked
        {"smb:x//a//b/c", "a", "/b/c"},      // the first "//" counts
        {"smb://server", nullptr, ""},       // no share
        {"SMB://server/share", nullptr, ""}, // case-sensitive
        {"xsmb://server/share", nullptr, ""},
        {"smb:/server/share", nullptr, ""}, // no "//"
    };
    for (const auto& row : rows) {
        std::string host = "unset", share = "unset";
        EXPECT_EQ(DMPEnum::ParseURI(row.uri, host, share), row.host != nullptr) << row.uri;
        EXPECT_EQ(host + "|" + share, row.host ? std::string(row.host) + "|" + row.share : "unset|unset")
            << row.uri;
    }
}

class RecordingNotify : public IDMPEnumNotify {
public:
    void OnAddDevice(ZrUniString h, ZrUniString s, ZrUniString u, ZrUniString p) override {
        Note("add ", h, s, u, p);
    }
    void OnRemoveDevice(ZrUniString h, ZrUniString s, ZrUniString u, ZrUniString p) override {
        Note("remove ", h, s, u, p);
    }
    void Note(const char* what, ZrUniString& h, ZrUniString& s, ZrUniString& u, ZrUniString& p) {
        calls.push_back(what + h.AsUtf8() + "|" + s.AsUtf8() + "|" + u.AsUtf8() + "|" + p.AsUtf8());
    }
    Calls calls;
};

// Runs `body` with a manager over `controller` inside a dispatcher, as the program's main function does.
void WithManager(IDMPEnumNotify& controller,
                 const std::function<void(DMPManager&, platform::Dispatcher&)>& body) {
    dispatch::QExecutorDispatcher base;
    base.RunInContext([&](uint32_t) {
        platform::Dispatcher dispatcher;
        DMPManager manager(controller);
        body(manager, dispatcher);
    });
}

class DMPManagerTest : public ::testing::Test {
protected:
    void Run(const std::function<void(DMPManager&)>& body) {
        WithManager(m_controller, [&](DMPManager& manager, platform::Dispatcher& dispatcher) {
            m_pDispatcher = &dispatcher;
            body(manager);
        });
    }

    // Main-loop turns (Process, then a dispatch step of at most 50 ms) until `done` holds; without
    // Process a closed connection is only noticed by reading the socket.
    void PumpUntil(DMPManager& manager, const std::function<bool()>& done, bool withProcess = true) {
        const common::Duration step(0, 50000);
        while (!done()) {
            if (withProcess)
                manager.Process();
            m_pDispatcher->Dispatch(&step);
        }
    }

    // Checks the agent's announcement on `client` and answers it with an init.
    void AddAndInit(DMPManager& manager, int client = 1) {
        const std::string which = "{\"client\": " + std::to_string(client) + "}";
        auto init = m_server.Must("wait_init", which);
        EXPECT_STREQ(init["message"]["hex"].GetString(), kInitIndicationHex);
        m_server.Must("send_init", which);
        const DMPEnum& endpoint = *manager.Displays().at(manager.ActiveDisplay()).endpoint;
        PumpUntil(manager, [&] { return endpoint.IsInitialised(); });
    }

    kptest::TestDisplayServer m_server;
    RecordingNotify m_controller;
    platform::Dispatcher* m_pDispatcher = nullptr;
};

// A display that cannot be opened is refused; the same name again opens nothing, and only the socket
// stays registered (the fast event and Open's own registration are gone). A repeated id keeps the
// first device for removal; unknown ids and unparsable URIs are ignored; texts are built from
// zero-terminated strings, so a password is cut at an embedded zero byte. A cut request and an unknown
// type code are dropped with a line naming the display, and serving goes on.
TEST_F(DMPManagerTest, DeviceRequestsFollowTheEndpointsRules) {
    Run([&](DMPManager& manager) {
        EXPECT_FALSE(manager.AddDisplay("/nonexistent/socket:0"));
        EXPECT_EQ(manager.ActiveDisplay(), nullptr);
        ASSERT_TRUE(manager.AddDisplay(m_server.Display().c_str()));
        EXPECT_TRUE(manager.AddDisplay(m_server.Display().c_str()));
        EXPECT_EQ(dispatch::DispatcherBase::Get()->Count(), 1u);
        EXPECT_EQ(manager.Displays().size(), 1u);
        EXPECT_EQ(manager.ActiveDisplay()->Name(), m_server.Display());
        AddAndInit(manager);
        for (
            const char* args : {
                R"({"device_id": 7, "uri": "smb://a/x", "user": "u1", "password": "p1"})",
                R"({"device_id": 7, "uri": "smb://b/y", "user": "u2", "password": "p2"})",
                R"({"device_id": 7, "opaque": 99})", // removes the first
                R"({"device_id": 7})",               // finds nothing
                R"({"device_id": 42})",
                R"({"device_id": 3, "uri": "SMB://pc/C", "user": "u"})",
                R"({"device_id": 4, "uri": "smb://pc-only", "user": "u"})",
                R"({"device_id": 3})",
                R"({"device_id": 4294967295, "uri": "smb://last/one"})", // ids are signed map keys: -1
                R"({"device_id": 5, "uri": "smb://h\u00e9/\u00c4", "user": "b\u00f6b", "password": {"hex": "61620063"}})",
            })
            m_server.Must(std::string(args).find("uri") == std::string::npos ? "remove_device" : "add_device",
                          args);
        PumpUntil(manager, [&] { return m_controller.calls.size() >= 5; });
        const auto& devices = manager.Displays().at(manager.ActiveDisplay()).endpoint->Devices();
        // The unparsable ones stay, also after a removal was asked for.
        ASSERT_EQ(devices.size(), 4u);
        EXPECT_EQ(devices.begin()->first, -1);
        EXPECT_EQ(devices.count(3) + devices.count(4), 2u);
        std::string lines;
        DMPEnum::SetMessageWriter([&](bool error, const char* text) { lines += error ? text : "?"; });
        m_server.Must("add_device", R"({"device_id": 6, "uri": "smb://h/s", "truncate": 20})");
        m_server.Must("send_raw", R"({"hex": "09"})");
        m_server.Must("add_device", R"({"device_id": 8, "uri": "smb://after/drop"})");
        PumpUntil(manager, [&] { return m_controller.calls.size() >= 6; });
        DMPEnum::SetMessageWriter(nullptr);
        std::string line = "Dropped a malformed device message: " + m_server.Display() + "\n";
        EXPECT_EQ(lines, line + line);
    });
    EXPECT_EQ(m_controller.calls,
              (Calls{"add a|x|u1|p1", "add b|y|u2|p2", "remove a|x|u1|p1", "add last|one||",
                     "add h\u00e9|\u00c4|b\u00f6b|ab", "add after|drop||"}));
    // The agent never confirms: its only message is the init indication, from one connection.
    EXPECT_EQ(m_server.Must("messages", "{\"client\": 1}")["messages"].Size(), 1u);
    EXPECT_EQ(m_server.Must("clients")["clients"].Size(), 1u);
}

TEST_F(DMPManagerTest, SecondDisplayAnnouncesItselfWhenTheFirstIsLost) {
    const std::string first = m_server.Display(), second = first + ".0"; // one server, two displays
    RecordingNotify other;
    Run([&](DMPManager& manager) {
        ASSERT_TRUE(manager.AddDisplay(first.c_str()));
        ASSERT_TRUE(manager.AddDisplay(second.c_str(), &other));
        m_server.Must("wait_client", "{\"count\": 2}");
        EXPECT_EQ(manager.ActiveDisplay()->Name(), first);
        m_server.Must("close_client", "{\"client\": 1}");
        PumpUntil(manager, [&] { return manager.Displays().size() == 1; }, false);
        ASSERT_NE(manager.ActiveDisplay(), nullptr);
        EXPECT_EQ(manager.ActiveDisplay()->Name(), second);
        // The promoted display's endpoint keeps its own notify target.
        AddAndInit(manager, 2);
        m_server.Must("add_device", R"({"client": 2, "device_id": 1, "uri": "smb://two/D"})");
        PumpUntil(manager, [&] { return !other.calls.empty(); });
        // Losing the last display leaves no active one.
        m_server.Must("close_client", "{\"client\": 2}");
        PumpUntil(manager, [&] { return manager.Displays().empty(); }, false);
        EXPECT_EQ(manager.ActiveDisplay(), nullptr);
        manager.Process(); // nothing active: nothing to do
    });
    EXPECT_EQ(other.calls, Calls{"add two|D||"});
    // The second display spoke once, after the promotion: it stayed silent while not active.
    EXPECT_EQ(m_server.Must("messages", "{\"client\": 2}")["messages"].Size(), 1u);
    EXPECT_TRUE(m_controller.calls.empty());
}

// The active display's server goes away. The main loop's Process does not read the connection, so it
// never meets the end; a round trip does, and Xlib's I/O-error handler ends the process through the
// program's ending, with the status the ending gives for a display that went away.
TEST(DMPManagerDeathTest, BrokenConnectionSeenByXlibEndsThroughTheEnding) {
    GTEST_FLAG_SET(death_test_style, getenv("KPATDMCL_EMULATOR") ? "fast" : "threadsafe"); // qemu: no exec
    kptest::TestDisplayServer server;
    RecordingNotify controller;
    EXPECT_EXIT(WithManager(controller,
                            [&](DMPManager& manager, platform::Dispatcher&) {
                                DMPManager::SetEnding([](int cause) {
                                    std::fprintf(stderr, "ending %d\n", cause);
                                    return cause + 7;
                                });
                                if (!manager.AddDisplay(server.Display().c_str()))
                                    std::exit(3);
                                server.Must("wait_init");
                                server.Must("close_client");
                                server.Must("wait_closed");
                                manager.Process();
                                std::fprintf(stderr, "process read nothing\n");
                                manager.ActiveDisplay()->Sync();
                            }),
                ::testing::ExitedWithCode(7), "process read nothing\nending 0\n");
}

} // namespace
