// DMPEnum and DMPManager over real libX11: the test display server plays the remote side, a
// recording notify target plays the controller.
#include "dmp/dmpmanager.h"

#include "framework/dispatch/dispatch.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/platform/dispatcher.h"
#include "framework/stream/streamexception.h"
#include "tests/common/x11/testdisplayserver.h"

#include <functional>
#include <string>
#include <vector>

namespace {

using kptest::TestDisplayServer;

const char kInitIndicationHex[] = "010001000300736d62010000";

TEST(DMPEnumParseURI, SplitsHostAndShare) {
    struct Case {
        const char* uri;
        bool ok;
        const char* host;
        const char* share;
    };
    const Case cases[] = {
        {"smb://server/share", true, "server", "share"},
        {"smb://h/s/d", true, "h", "s/d"},      // further slashes stay in the share
        {"smb:///share", true, "", "share"},    // empty host
        {"smb://h/", true, "h", ""},            // empty share
        {"smbx//h/s", true, "h", "s"},          // only "smb" of the scheme is checked
        {"smb//h/s", true, "h", "s"},           //
        {"smb:x//a//b/c", true, "a", "/b/c"},   // the first "//" counts
        {"smb://server", false, "", ""},        // no share
        {"SMB://server/share", false, "", ""},  // case-sensitive
        {"xsmb://server/share", false, "", ""}, //
        {"smb:/server/share", false, "", ""},   // no "//"
        {"sm", false, "", ""},                  //
        {"", false, "", ""},                    //
    };
    for (const Case& c : cases) {
        std::string host = "unset", share = "unset";
        EXPECT_EQ(DMPEnum::ParseURI(c.uri, host, share), c.ok) << c.uri;
        if (c.ok) {
            EXPECT_EQ(host, c.host) << c.uri;
            EXPECT_EQ(share, c.share) << c.uri;
        }
    }
}

class RecordingNotify : public IDMPEnumNotify {
public:
    void OnAddDevice(ZrUniString host, ZrUniString share, ZrUniString user, ZrUniString password) override {
        calls.push_back("add " + Join(host, share, user, password));
    }
    void OnRemoveDevice(ZrUniString host, ZrUniString share, ZrUniString user,
                        ZrUniString password) override {
        calls.push_back("remove " + Join(host, share, user, password));
    }
    std::vector<std::string> calls;

private:
    static std::string Join(const ZrUniString& a, const ZrUniString& b, const ZrUniString& c,
                            const ZrUniString& d) {
        return a.AsUtf8() + "|" + b.AsUtf8() + "|" + c.AsUtf8() + "|" + d.AsUtf8();
    }
};

// A dispatcher run around each test, a manager over the recording controller, and a pump that
// behaves like the program's main loop.
class DMPManagerTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_server.Ok()); }

    void Run(const std::function<void(DMPManager&)>& body) {
        dispatch::QExecutorDispatcher base;
        base.RunInContext([&](uint32_t) {
            platform::Dispatcher dispatcher;
            DMPManager manager(dispatcher, m_controller);
            m_pDispatcher = &dispatcher;
            body(manager);
            m_pDispatcher = nullptr;
        });
    }

    // Main-loop iterations (Process, then a dispatch step of at most 50 ms) until `done` holds.
    // withProcess=false leaves queued events alone, so that a closed connection is only noticed
    // by reading the socket.
    void PumpUntil(DMPManager& manager, const std::function<bool()>& done, bool withProcess = true) {
        const common::Duration step(0, 50000);
        while (!done()) {
            if (withProcess)
                manager.Process();
            m_pDispatcher->Dispatch(&step);
        }
    }

    // Waits until the controller has seen `count` calls.
    void WaitCalls(DMPManager& manager, size_t count) {
        PumpUntil(manager, [&] { return m_controller.calls.size() >= count; });
    }

    void AddAndInit(DMPManager& manager) {
        ASSERT_TRUE(manager.AddDisplay(m_server.Display().c_str()));
        auto init = m_server.Must("wait_init", "{\"client\": 1}");
        EXPECT_STREQ(init["message"]["hex"].GetString(), kInitIndicationHex);
        m_server.Must("send_init", "{\"client\": 1}");
    }

    Watchdog m_watchdog{60};
    TestDisplayServer m_server;
    RecordingNotify m_controller;
    platform::Dispatcher* m_pDispatcher = nullptr;
};

TEST_F(DMPManagerTest, AddDisplayAnnouncesTheAgentOnce) {
    Run([&](DMPManager& manager) {
        const uint64_t before = dispatch::DispatcherBase::Get()->Count();
        ASSERT_TRUE(manager.AddDisplay(m_server.Display().c_str()));
        // Only the socket is registered: the fast event and Open's own registration are gone.
        EXPECT_EQ(dispatch::DispatcherBase::Get()->Count(), before + 1);
        ASSERT_NE(manager.ActiveDisplay(), nullptr);
        EXPECT_EQ(manager.ActiveDisplay()->Name(), m_server.Display());
        EXPECT_EQ(manager.Displays().at(manager.ActiveDisplay()).endpoint->Notify(), &m_controller);
        auto init = m_server.Must("wait_init", "{\"client\": 1}");
        EXPECT_STREQ(init["message"]["hex"].GetString(), kInitIndicationHex);
        EXPECT_EQ(init["message"]["padded_length"].GetInt(), 12);

        // The same name again opens nothing.
        EXPECT_TRUE(manager.AddDisplay(m_server.Display().c_str()));
        EXPECT_EQ(manager.Displays().size(), 1u);
        EXPECT_EQ(dispatch::DispatcherBase::Get()->Count(), before + 1);
    });
    auto clients = m_server.Must("clients");
    EXPECT_EQ(clients["clients"].Size(), 1u);
    EXPECT_EQ(clients["clients"][0]["messages"].GetInt(), 1);
}

TEST_F(DMPManagerTest, AddAndRemoveReachTheController) {
    Run([&](DMPManager& manager) {
        AddAndInit(manager);
        m_server.Must("add_device", R"({"device_id": 1, "uri": "smb://pc1/C", "user": "alice",
                                        "password": "s3cret", "device_name": "C:", "display_name": "Drive C",
                                        "device_info": "fixed", "config": [["k", "v"], ["key2", ""]]})");
        WaitCalls(manager, 1);
        auto* endpoint = manager.Displays().at(manager.ActiveDisplay()).endpoint.get();
        ASSERT_EQ(endpoint->Devices().size(), 1u);
        const DMPDevice& device = *endpoint->Devices().at(1);
        EXPECT_EQ(device.Uri(), "smb://pc1/C");
        EXPECT_EQ(device.DeviceName(), "C:");
        EXPECT_EQ(device.DisplayName(), "Drive C");
        EXPECT_EQ(device.DeviceInfo(), "fixed");
        m_server.Must("remove_device", R"({"device_id": 1, "opaque": 99})");
        WaitCalls(manager, 2);
        EXPECT_TRUE(endpoint->Devices().empty());
    });
    EXPECT_EQ(m_controller.calls,
              (std::vector<std::string>{"add pc1|C|alice|s3cret", "remove pc1|C|alice|s3cret"}));
    // The agent never confirms: its only message is the init indication.
    EXPECT_EQ(m_server.Must("messages", "{\"client\": 1}")["messages"].Size(), 1u);
}

// A repeated id keeps the first device for removal; unknown ids and unparsable URIs are ignored;
// texts are built from zero-terminated strings, so a password is cut at an embedded zero byte.
TEST_F(DMPManagerTest, DeviceRequestsFollowTheEndpointsRules) {
    Run([&](DMPManager& manager) {
        AddAndInit(manager);
        m_server.Must("add_device",
                      R"({"device_id": 7, "uri": "smb://a/x", "user": "u1", "password": "p1"})");
        m_server.Must("add_device",
                      R"({"device_id": 7, "uri": "smb://b/y", "user": "u2", "password": "p2"})");
        m_server.Must("remove_device", R"({"device_id": 7})");
        m_server.Must("remove_device", R"({"device_id": 7})"); // finds nothing
        m_server.Must("remove_device", R"({"device_id": 42})");
        m_server.Must("add_device", R"({"device_id": 3, "uri": "SMB://pc/C", "user": "u"})");
        m_server.Must("add_device", R"({"device_id": 4, "uri": "smb://pc-only", "user": "u"})");
        m_server.Must("remove_device", R"({"device_id": 3})");
        // Device ids are signed map keys: 0xFFFFFFFF is -1.
        m_server.Must("add_device", R"({"device_id": 4294967295, "uri": "smb://last/one"})");
        m_server.Must("add_device", R"({"device_id": 5, "uri": "smb://h\u00e9/\u00c4", "user": "b\u00f6b",
                                        "password": {"hex": "61620063"}})");
        WaitCalls(manager, 5);
        const auto& devices = manager.Displays().at(manager.ActiveDisplay()).endpoint->Devices();
        // The unparsable ones stay, also after a removal was asked for.
        ASSERT_EQ(devices.size(), 4u);
        EXPECT_EQ(devices.begin()->first, -1);
        EXPECT_EQ(devices.count(3), 1u);
        EXPECT_EQ(devices.count(4), 1u);
    });
    EXPECT_EQ(m_controller.calls,
              (std::vector<std::string>{"add a|x|u1|p1", "add b|y|u2|p2", "remove a|x|u1|p1",
                                        "add last|one||", "add h\u00e9|\u00c4|b\u00f6b|ab"}));
}

TEST_F(DMPManagerTest, TruncatedAddRequestThrowsOutOfEventHandling) {
    Run([&](DMPManager& manager) {
        AddAndInit(manager);
        PumpUntil(manager, [&] { return manager.Displays().begin()->second.endpoint->IsInitialised(); });
        m_server.Must("add_device", R"({"device_id": 5, "uri": "smb://h/s", "truncate": 20})");
        DMPDisplay* display = manager.ActiveDisplay();
        EXPECT_THROW(
            {
                for (;;) {
                    display->HandleEvents();
                    usleep(1000);
                }
            },
            stream::StreamException);
    });
    EXPECT_TRUE(m_controller.calls.empty());
}

TEST_F(DMPManagerTest, SecondDisplayAnnouncesItselfWhenTheFirstIsLost) {
    // Two names for one server are two displays to the manager.
    const std::string first = m_server.Display();
    const std::string second = first + ".0";
    RecordingNotify other;
    Run([&](DMPManager& manager) {
        ASSERT_TRUE(manager.AddDisplay(first.c_str()));
        m_server.Must("wait_init", "{\"client\": 1}");
        ASSERT_TRUE(manager.AddDisplay(second.c_str(), &other));
        m_server.Must("wait_client", "{\"count\": 2}");
        ASSERT_EQ(manager.Displays().size(), 2u);
        EXPECT_EQ(manager.ActiveDisplay()->Name(), first);

        m_server.Must("close_client", "{\"client\": 1}");
        PumpUntil(
            manager, [&] { return manager.Displays().size() == 1; }, false);
        ASSERT_NE(manager.ActiveDisplay(), nullptr);
        EXPECT_EQ(manager.ActiveDisplay()->Name(), second);
        auto init = m_server.Must("wait_init", "{\"client\": 2}");
        EXPECT_STREQ(init["message"]["hex"].GetString(), kInitIndicationHex);

        // The promoted display's endpoint keeps its own notify target.
        m_server.Must("send_init", "{\"client\": 2}");
        m_server.Must("add_device", R"({"client": 2, "device_id": 1, "uri": "smb://two/D"})");
        PumpUntil(manager, [&] { return !other.calls.empty(); });

        // Losing the last display leaves no active one.
        m_server.Must("close_client", "{\"client\": 2}");
        PumpUntil(
            manager, [&] { return manager.Displays().empty(); }, false);
        EXPECT_EQ(manager.ActiveDisplay(), nullptr);
        manager.Process(); // nothing active: nothing to do
    });
    EXPECT_EQ(other.calls, std::vector<std::string>{"add two|D||"});
    // The second display spoke once, after the promotion: it stayed silent while not active.
    EXPECT_EQ(m_server.Must("messages", "{\"client\": 2}")["messages"].Size(), 1u);
    EXPECT_TRUE(m_controller.calls.empty());
}

} // namespace
