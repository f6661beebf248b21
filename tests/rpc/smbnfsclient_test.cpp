// ZrSMBNFSClient against the control simulator over real UDP on loopback.
#include "rpc/zrsmbnfsclient.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "fssimpeer.h"
#include "net/zrsysinfo.h"

namespace {

class SMBNFSClientTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sim.Started()) << "simulator did not start"; }

    void Mode(const std::string& json) {
        ASSERT_NE(sim.Command(json).find("\"ok\": true"), std::string::npos) << json;
    }

    FsSimPeer sim;
};

// What the simulator decoded from each call the agent makes; libtirpc checks the call header's other
// fields (tirpc_test).
TEST_F(SMBNFSClientTest, CallsCarryTheirRequestsAndCredentials) {
    ZrSMBNFSClient client(sim.Address(), 5);
    ASSERT_EQ(client.LastError().AsUtf8(), "");
    const std::string config = "[share/pc1/winname={(bob)}]\n[share/pc1/password={(a\\=b\\)c)}]\n";
    EXPECT_EQ(client.SetConfig("alice", ZrUniString(config.c_str())).AsUtf8(), "");
    EXPECT_EQ(client.RegisterDisplayForUser("alice", ":3").AsUtf8(), "");
    EXPECT_EQ(client.UnregisterUser("alice").AsUtf8(), "");
    EXPECT_EQ(client.FlushSession("alice", "*").AsUtf8(), "");

    rapidjson::Document doc;
    doc.Parse(sim.Command(R"({"cmd": "calls"})").c_str());
    ASSERT_TRUE(doc.IsObject() && doc.HasMember("calls"));
    const auto& calls = doc["calls"];
    ASSERT_EQ(calls.Size(), 4u);
    const unsigned procs[] = {102, 105, 106, 101}, flavours[] = {0, 1, 1, 0};
    for (unsigned i = 0; i < 4; ++i) {
        const auto& cred = calls[i]["cred"];
        EXPECT_EQ(calls[i]["proc"].GetUint(), procs[i]);
        EXPECT_EQ(calls[i]["xid"].GetUint(), calls[0]["xid"].GetUint() + i) << "consecutive xids";
        EXPECT_EQ(std::string(calls[i]["request"]["user"].GetString()), "alice");
        EXPECT_EQ(cred["flavour"].GetUint(), flavours[i]) << procs[i];
        EXPECT_TRUE(calls[i]["verf"] == cred) << "the verifier repeats the credentials";
        if (flavours[i] == 1) {
            EXPECT_EQ(cred["stamp"].GetUint(), 0u);
            EXPECT_EQ(std::string(cred["machinename"].GetString()), ZrSysInfoHostName().AsUtf8());
            EXPECT_EQ(cred["uid"].GetUint(), geteuid());
            EXPECT_EQ(cred["gid"].GetUint(), getegid());
            EXPECT_EQ(cred["gids"].Size(), 0u);
        }
    }
    EXPECT_EQ(std::string(calls[0]["request"]["config"].GetString()), config);
    EXPECT_EQ(std::string(calls[1]["request"]["display"].GetString()), ":3");
    EXPECT_EQ(std::string(calls[3]["request"]["machine"].GetString()), "*");
}

// One row per way the server can answer; each gives its text to the caller.
TEST_F(SMBNFSClientTest, AnswersGiveTheirTexts) {
    // 30 bytes of reply around an error text of n units: 4081 fill the 8192-byte receive area exactly;
    // one more is cut off before the terminating unit and no longer decodes.
    const std::string fits(4081, 'x'), cut(4082, 'x');
    struct Row {
        std::string mode;
        std::string expected;
    } rows[] = {
        {R"({"cmd":"mode","proc":102,"mode":"error","text":"Server busy","count":1})", "Server busy"},
        {R"({"cmd":"mode","proc":102,"mode":"garbage","garbage":3,"count":1})", ""},
        {R"({"cmd":"mode","proc":102,"mode":"ok","xid_delta":77,"count":1})", ""},
        {R"({"cmd":"mode","proc":102,"mode":"deny","count":1})", "The rpc packet was rejected by the server"},
        {R"({"cmd":"mode","proc":102,"mode":"deny","reject":0,"count":1})",
         "The rpc packet was rejected by the server"},
        {R"({"cmd":"mode","proc":102,"mode":"refuse","status":1,"count":1})",
         "The request was refused by the server"},
        {R"({"cmd":"mode","proc":102,"mode":"refuse","status":4,"count":1})",
         "The request was refused by the server"},
        {R"({"cmd":"mode","proc":102,"mode":"undecodable","count":1})", "Unable to decode return packet"},
        {R"({"cmd":"mode","proc":102,"mode":"error","count":1,"text":")" + fits + "\"}", fits},
        {R"({"cmd":"mode","proc":102,"mode":"error","count":1,"text":")" + cut + "\"}",
         "Unable to decode return packet"},
    };
    ZrSMBNFSClient client(sim.Address(), 5);
    for (const Row& row : rows) {
        Mode(row.mode);
        EXPECT_EQ(client.SetConfig("u", "[k={(v)}]\n").AsUtf8(), row.expected) << row.mode.substr(0, 80);
    }
    // Every mode was used once; the next call succeeds again.
    EXPECT_EQ(client.SetConfig("u", "").AsUtf8(), "");
}

TEST_F(SMBNFSClientTest, TimeOutStartsAgainAfterEachUnusableDatagram) {
    // A 3 s time-out; garbage after 1.5 s, the reply 2 s later: past the first time-out (the delays
    // guarantee it), a second before the second one ends.
    Mode(R"({"cmd":"mode","proc":102,"mode":"garbage","delay":1.5,"gap":2.0,"count":1})");
    ZrSMBNFSClient client(sim.Address(), 3);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.SetConfig("u", "").AsUtf8(), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3000));

    Mode(R"({"cmd":"mode","proc":102,"mode":"silent"})");
    ZrSMBNFSClient quick(sim.Address(), 1);
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(quick.SetConfig("u", "").AsUtf8(),
              "Connection timed out while contacting the server\nCheck the server is running");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(quick.Status(), ZrRPCClientErrors::ERRTimeOut);
}

// Not against the simulator: a server that is down (a port nothing holds once `free` closes). The
// kernel's refusal of a first datagram, pending when the call is sent, does not make a send error.
TEST(SMBNFSClientSetup, ServerDownTimesOut) {
    ZrInetAddr down;
    ZrSocket free;
    ASSERT_TRUE(free.Bind(ZrInetAddr::AddressLoopback(), ZrSocket::datagram, false, 0, false) &&
                free.LocalAddress(down));
    free.Close();
    ZrSMBNFSClient client(down, 1);
    ZrRPCMessageFromClient call;
    ASSERT_EQ(client.SendServerRpcMessage(call), ZrRPCClientErrors::ERRCallSuccess);
    EXPECT_EQ(client.SetConfig("u", "").AsUtf8(),
              "Connection timed out while contacting the server\nCheck the server is running");
}

// Not against the simulator: a socket that cannot be made cannot be bound.
TEST(SMBNFSClientSetup, BindFailureIsTheFirstErrorText) {
#ifdef __SANITIZE_ADDRESS__
    // The sanitizer runtime needs descriptors of its own for its checks, and none is left below.
    GTEST_SKIP() << "runs in the plain build";
#endif
    rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    int lowest = dup(0);
    ASSERT_GE(lowest, 0);
    close(lowest);
    rlimit tight = saved;
    tight.rlim_cur = static_cast<rlim_t>(lowest);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    ZrSMBNFSClient client(ZrInetAddr::AddressLoopback(), 1);
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(client.Status(), ZrRPCClientErrors::ERRBind);
    EXPECT_EQ(client.LastError().AsUtf8(),
              "Client failed to bind to a socket\nClient cannot process request");
}

} // namespace
