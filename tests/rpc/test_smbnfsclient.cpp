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

    // The simulator's records of every call so far.
    rapidjson::Document Calls() {
        rapidjson::Document doc;
        doc.Parse(sim.Calls().c_str());
        EXPECT_TRUE(doc.IsObject() && doc.HasMember("calls"));
        return doc;
    }

    FsSimPeer sim;
};

TEST_F(SMBNFSClientTest, SetConfigIsAppliedAndReadBack) {
    ZrSMBNFSClient client(sim.Address(), 5);
    ASSERT_EQ(client.LastError(), ZrUniString(""));
    EXPECT_EQ(client.SetConfig("alice", "[share/pc1/winname={(bob)}]\n[share/pc1/password={(a\\=b\\)c)}]\n"),
              ZrUniString(""));
    EXPECT_EQ(client.SetConfig("alice", "[share/pc1/winname={()}]\n"), ZrUniString(""));
    ZrUniString config("untouched");
    EXPECT_EQ(client.GetConfig("alice", config), ZrUniString(""));
    EXPECT_EQ(config.AsUtf8(), "[share/pc1/winname={()}]\n[share/pc1/password={(a\\=b\\)c)}]\n");

    rapidjson::Document doc = Calls();
    const auto& calls = doc["calls"];
    ASSERT_EQ(calls.Size(), 3u);
    const auto& first = calls[0];
    EXPECT_EQ(first["rpcvers"].GetUint(), 2u);
    EXPECT_EQ(first["prog"].GetUint(), 100003u);
    EXPECT_EQ(first["vers"].GetUint(), 2u);
    EXPECT_EQ(first["proc"].GetUint(), 102u);
    EXPECT_EQ(first["cred"]["flavour"].GetUint(), 0u);
    EXPECT_EQ(first["cred"]["length"].GetUint(), 0u);
    EXPECT_EQ(first["verf"]["flavour"].GetUint(), 0u);
    EXPECT_EQ(std::string(first["request"]["user"].GetString()), "alice");
    EXPECT_EQ(std::string(first["request"]["config"].GetString()),
              "[share/pc1/winname={(bob)}]\n[share/pc1/password={(a\\=b\\)c)}]\n");
    EXPECT_EQ(calls[2]["proc"].GetUint(), 103u);
    // Successive calls carry consecutive xids.
    EXPECT_EQ(calls[1]["xid"].GetUint(), first["xid"].GetUint() + 1u);
    EXPECT_EQ(calls[2]["xid"].GetUint(), first["xid"].GetUint() + 2u);
}

TEST_F(SMBNFSClientTest, DisplayCallsCarryUnixCredentialsAndVerifier) {
    ZrSMBNFSClient client(sim.Address(), 5);
    EXPECT_EQ(client.RegisterDisplayForUser("alice", ":3"), ZrUniString(""));
    EXPECT_EQ(client.UnregisterUser("alice"), ZrUniString(""));
    EXPECT_EQ(client.FlushSession("alice", "*"), ZrUniString(""));

    rapidjson::Document doc = Calls();
    const auto& calls = doc["calls"];
    ASSERT_EQ(calls.Size(), 3u);
    for (unsigned i = 0; i < 2; ++i) {
        const auto& cred = calls[i]["cred"];
        EXPECT_EQ(calls[i]["proc"].GetUint(), 105u + i);
        EXPECT_EQ(cred["flavour"].GetUint(), 1u);
        EXPECT_EQ(cred["stamp"].GetUint(), 0u);
        EXPECT_EQ(std::string(cred["machinename"].GetString()), ZrSysInfoHostName().AsUtf8());
        EXPECT_EQ(cred["uid"].GetUint(), geteuid());
        EXPECT_EQ(cred["gid"].GetUint(), getegid());
        EXPECT_EQ(cred["gids"].Size(), 0u);
        EXPECT_TRUE(calls[i]["verf"] == cred) << "the verifier repeats the credentials";
    }
    EXPECT_EQ(std::string(calls[0]["request"]["display"].GetString()), ":3");
    EXPECT_EQ(calls[2]["cred"]["flavour"].GetUint(), 0u);
    EXPECT_EQ(std::string(calls[2]["request"]["machine"].GetString()), "*");
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
    // Garbage after 0.6 s, the reply 0.7 s later: past the first time-out, within the second.
    Mode(R"({"cmd":"mode","proc":102,"mode":"garbage","delay":0.6,"gap":0.7,"count":1})");
    ZrSMBNFSClient client(sim.Address(), 1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.SetConfig("u", "").AsUtf8(), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1200));

    Mode(R"({"cmd":"mode","proc":102,"mode":"silent"})");
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.SetConfig("u", "").AsUtf8(),
              "Connection timed out while contacting the server\nCheck the server is running");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(client.Status(), ZrRPCClientErrors::ERRTimeOut);
}

TEST_F(SMBNFSClientTest, GetConfigKeepsTheCallersTextOnError) {
    Mode(R"({"cmd":"mode","proc":103,"mode":"error","text":"no such user"})");
    ZrSMBNFSClient client(sim.Address(), 5);
    ZrUniString config("mine");
    EXPECT_EQ(client.GetConfig("u", config).AsUtf8(), "no such user");
    EXPECT_EQ(config.AsUtf8(), "mine");
}

TEST_F(SMBNFSClientTest, ListsAndFlushesSessions) {
    Mode(R"({"cmd":"sessions","user":"u","sessions":[{"name":"pc1","details":[1,2,3,4,5]},{"name":"pc2"}]})");
    ZrSMBNFSClient client(sim.Address(), 5);
    ZrDList<ZrSMBNFSSessionInfo> sessions;
    ASSERT_EQ(client.ListSessions("u", sessions).AsUtf8(), "");
    ASSERT_EQ(sessions.Count(), 2u);
    EXPECT_EQ(sessions[0].name().Text().AsUtf8(), "pc1");
    ASSERT_TRUE(sessions[0].HasDetails());
    EXPECT_EQ(sessions[0].details()[4], 5u);
    EXPECT_FALSE(sessions[1].HasDetails());

    ASSERT_EQ(client.FlushSession("u", "pc1").AsUtf8(), "");
    ASSERT_EQ(client.ListSessions("u", sessions).AsUtf8(), "");
    ASSERT_EQ(sessions.Count(), 1u);
    EXPECT_EQ(sessions[0].name().Text().AsUtf8(), "pc2");
}

TEST_F(SMBNFSClientTest, ReceivesARequestForAnotherDisplay) {
    Mode(R"({"cmd":"mode","proc":105,"mode":"display","display":":7"})");
    ZrSMBNFSClient client(sim.Address(), 5);
    ASSERT_EQ(client.RegisterDisplayForUser("u", ":3").AsUtf8(), "");
    EXPECT_EQ(client.LastResponse().result(), 2u);
    EXPECT_EQ(client.LastResponse().display().Text().AsUtf8(), ":7");

    // Later the server asks on its own; the reply waits on the socket until it is collected.
    Mode(R"({"cmd":"push","proc":105,"result":2,"display":":9"})");
    ZrSMBNFSResponse response;
    ASSERT_EQ(client.ReceiveRpc(response).AsUtf8(), "");
    EXPECT_EQ(response.command(), 105u);
    EXPECT_EQ(response.result(), 2u);
    EXPECT_EQ(response.display().Text().AsUtf8(), ":9");
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
    EXPECT_EQ(client.Socket().LastErrno(), EMFILE);
}

} // namespace
