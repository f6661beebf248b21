// ZrSMBNFSClient against the control simulator over real UDP on loopback.
#include "rpc/zrsmbnfsclient.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <string>
#include <tuple>

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
    const std::pair<std::string, std::string> rows[] = {
        {R"("mode":"error","text":"Server busy")", "Server busy"},
        {R"("mode":"garbage","garbage":3)", ""},
        {R"("mode":"deny")", "The rpc packet was rejected by the server"},
        {R"("mode":"deny","reject":0)", "The rpc packet was rejected by the server"},
        {R"("mode":"refuse","status":1)", "The request was refused by the server"},
        {R"("mode":"refuse","status":4)", "The request was refused by the server"},
        {R"("mode":"undecodable")", "Unable to decode return packet"},
        {R"("mode":"error","text":")" + fits + "\"", fits},
        {R"("mode":"error","text":")" + cut + "\"", "Unable to decode return packet"},
    };
    ZrSMBNFSClient client(sim.Address(), 5);
    for (const auto& [mode, expected] : rows) {
        Mode(R"({"cmd":"mode","proc":102,"count":1,)" + mode + "}");
        EXPECT_EQ(client.SetConfig("u", "[k={(v)}]\n").AsUtf8(), expected) << mode.substr(0, 80);
    }
    // Every mode was used once; the next call succeeds again.
    EXPECT_EQ(client.SetConfig("u", "").AsUtf8(), "");
}

// What the simulator does with the copies of one call, whether the call times out (2 s) or succeeds
// well before its 30 s, and how many copies arrived (0: the simulator may still be busy with one).
TEST_F(SMBNFSClientTest, UnansweredCallsAreSentAgainUnderOneDeadline) {
    const std::tuple<std::string, bool, unsigned> rows[] = {
        {R"("cmd":"drop","copies":1)", false, 2},
        {R"("cmd":"drop","copies":2)", false, 3},
        {R"("cmd":"mode","mode":"ok","delay":1.5)", false, 0},
        {R"("cmd":"mode","mode":"ok","hold":1)", false, 2},
        // Garbage after 1 s, the reply 1.5 s later: within a time-out started again, past the deadline.
        {R"("cmd":"mode","mode":"garbage","delay":1,"gap":1.5)", true, 2},
        {R"("cmd":"mode","mode":"ok","xid_delta":77)", true, 2},
        {R"("cmd":"mode","mode":"silent")", true, 2},
    };
    for (const auto& [mode, timesOut, copies] : rows) {
        Mode(R"({"proc":102,"count":1,)" + mode + "}");
        ZrSMBNFSClient client(sim.Address(), timesOut ? 2 : 30);
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(client.SetConfig("u", "[u={(1)}]\n").Length() == 0, !timesOut) << mode;
        EXPECT_EQ(client.Status(), timesOut ? ZrRPCClientErrors::ERRTimeOut : 0u) << "0: no error";
        auto took = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(took < std::chrono::seconds(10) && (!timesOut || took >= std::chrono::seconds(2)));
        // Answers still on their way answer no later call.
        ZrUniString config;
        EXPECT_TRUE(client.GetConfig("u", config).Length() == 0 && config.AsUtf8() == "[u={(1)}]\n" &&
                    (!copies || sim.Command(R"({"cmd":"copies"})") ==
                                    R"({"ok": true, "copies": )" + std::to_string(copies) + "}"))
            << mode;
    }
}

TEST(RPCResendSchedule, IntervalsDoubleAndVaryByAFifthEitherWay) {
    ZrRPCResendSchedule schedule;
    for (auto [permille, ms] : {std::pair{800u, 800}, {1200u, 2400}, {1000u, 4000}})
        EXPECT_EQ(schedule.Next(permille), std::chrono::milliseconds(ms));
    std::set<long long> first; // in microseconds: the least in [0.8, 0.9) s, the most in (1.1, 1.2] s
    for (int i = 0; i < 200; ++i)
        first.insert(ZrRPCResendSchedule().Next().count());
    EXPECT_TRUE(*first.begin() / 100000 == 8 && (*first.rbegin() - 1) / 100000 == 11) << *first.rbegin();
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
