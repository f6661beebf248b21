// Cross-check of the RPC records with an independent XDR implementation (libtirpc): our call decodes
// there, and its replies decode here.
#include <gtest/gtest.h>
#include <rpc/rpc.h>

#include <cstring>
#include <vector>

#include "rpc/zrrpcmessage.h"
#include "rpc/zrsmbnfsresponse.h"

namespace {

// One set of Unix credentials on both sides: ours, and libtirpc's parameters with the same values.
ZrRPCAuthBlock UnixBlock() {
    ZrRPCUnixAuth body;
    body.stamp(3);
    body.machinename(ZrRPCString("builder-7")); // 9 bytes: 3 bytes of padding
    body.uid(1234);
    body.gid(567);
    body.grouplist({ZrRPCGroup(10), ZrRPCGroup(20), ZrRPCGroup(30)});
    ZrRPCAuthBlock block(ZrRPCEnum::AuthUnix);
    block.auth_body(body);
    return block;
}
char g_machine[] = "builder-7";
gid_t g_groups[] = {10, 20, 30};

TEST(TirpcCrossCheck, OurCallDecodesWithXdrCallmsg) {
    ZrSMBNFSRequest request(kSMBNFSRegisterDisplay);
    request.user("alice");
    request.display(":3");
    ZrRPCCallBody callBody;
    callBody.prog(100003);
    callBody.vers(2);
    callBody.proc(105);
    callBody.credentials(UnixBlock());
    callBody.verifier(UnixBlock());
    callBody.rpc_data(request);
    ZrRPCMessageFromClient call;
    call.xid(0xDEADBEEF);
    call.call_body(callBody);

    std::vector<char> bytes(call.Where(), call.Where() + call.HowBig());
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_DECODE);
    rpc_msg msg{};
    // Decoded credentials land in these areas.
    char credArea[MAX_AUTH_BYTES], verfArea[MAX_AUTH_BYTES];
    msg.rm_call.cb_cred.oa_base = credArea;
    msg.rm_call.cb_verf.oa_base = verfArea;
    ASSERT_TRUE(xdr_callmsg(&xdrs, &msg));
    EXPECT_EQ(msg.rm_xid, 0xDEADBEEFu);
    EXPECT_EQ(msg.rm_direction, CALL);
    EXPECT_EQ(msg.rm_call.cb_rpcvers, 2u);
    EXPECT_EQ(msg.rm_call.cb_prog, 100003u);
    EXPECT_EQ(msg.rm_call.cb_vers, 2u);
    EXPECT_EQ(msg.rm_call.cb_proc, 105u);
    EXPECT_EQ(msg.rm_call.cb_cred.oa_flavor, AUTH_UNIX);
    EXPECT_EQ(msg.rm_call.cb_verf.oa_flavor, AUTH_UNIX);
    ASSERT_EQ(msg.rm_call.cb_cred.oa_length, msg.rm_call.cb_verf.oa_length);
    EXPECT_EQ(std::memcmp(credArea, verfArea, msg.rm_call.cb_cred.oa_length), 0);
    u_int position = xdr_getpos(&xdrs);
    EXPECT_EQ(std::vector<char>(bytes.begin() + position, bytes.end()),
              std::vector<char>(request.Where(), request.Where() + request.HowBig()))
        << "the arguments follow the call header unchanged";
    xdr_destroy(&xdrs);
}

// Writes the result bytes as they are (they are a multiple of four long).
std::vector<char> g_result;
bool_t PutResult(XDR* xdrs, void*, ...) {
    return xdr_opaque(xdrs, g_result.data(), static_cast<u_int>(g_result.size()));
}

std::vector<unsigned char> Encode(rpc_msg& msg) {
    std::vector<char> area(1024);
    XDR xdrs;
    xdrmem_create(&xdrs, area.data(), static_cast<u_int>(area.size()), XDR_ENCODE);
    EXPECT_TRUE(xdr_replymsg(&xdrs, &msg));
    u_int length = xdr_getpos(&xdrs);
    xdr_destroy(&xdrs);
    return std::vector<unsigned char>(area.begin(), area.begin() + length);
}

// Replies of every shape, each against the fields it must read into; they pack back to the same bytes.
TEST(TirpcCrossCheck, RepliesEncodedByXdrReplymsgDecodeHere) {
    ZrSMBNFSResponse response(kSMBNFSSetConfig);
    response.error("abc");
    g_result.assign(response.Where(), response.Where() + response.HowBig());
    ASSERT_EQ(g_result.size() % 4, 0u);
    char verfArea[MAX_AUTH_BYTES];
    XDR verfXdr;
    xdrmem_create(&verfXdr, verfArea, sizeof verfArea, XDR_ENCODE);
    authunix_parms parms{3, g_machine, 1234, 567, 3, g_groups};
    ASSERT_TRUE(xdr_authunix_parms(&verfXdr, &parms));

    ZrRPCAccepted success, mismatch, unavailable;
    success.rpc_data(response);
    mismatch.accept_stat(ZrRPCEnum::ProgMismatch);
    mismatch.mismatch(2, 3);
    unavailable.accept_stat(ZrRPCEnum::ProgUnavail);
    unavailable.verifier(UnixBlock());
    ZrRPCRejected version, auth;
    version.reject_stat(ZrRPCEnum::RpcMismatch);
    version.mismatch(2, 3);
    auth.reject_stat(ZrRPCEnum::AuthError);
    auth.auth_stat(AUTH_TOOWEAK);
    ZrRPCReplyBody expected[5];
    expected[0].accepted(success);
    expected[1].accepted(mismatch);
    expected[2].accepted(unavailable);
    expected[3].rejected(version);
    expected[4].rejected(auth);

    rpc_msg msgs[5] = {};
    for (rpc_msg& msg : msgs) {
        msg.rm_xid = 77;
        msg.rm_direction = REPLY;
        msg.rm_reply.rp_stat = MSG_ACCEPTED;
        msg.acpted_rply.ar_verf = _null_auth;
    }
    msgs[0].acpted_rply.ar_stat = SUCCESS;
    msgs[0].acpted_rply.ar_results.proc = reinterpret_cast<xdrproc_t>(PutResult);
    msgs[1].acpted_rply.ar_stat = PROG_MISMATCH;
    msgs[1].acpted_rply.ar_vers.low = 2;
    msgs[1].acpted_rply.ar_vers.high = 3;
    msgs[2].acpted_rply.ar_stat = PROG_UNAVAIL;
    msgs[2].acpted_rply.ar_verf = opaque_auth{AUTH_UNIX, verfArea, xdr_getpos(&verfXdr)};
    msgs[3].rm_reply.rp_stat = msgs[4].rm_reply.rp_stat = MSG_DENIED;
    msgs[3].rjcted_rply.rj_stat = RPC_MISMATCH;
    msgs[3].rjcted_rply.rj_vers.low = 2;
    msgs[3].rjcted_rply.rj_vers.high = 3;
    msgs[4].rjcted_rply.rj_stat = AUTH_ERROR;
    msgs[4].rjcted_rply.rj_why = AUTH_TOOWEAK;
    xdr_destroy(&verfXdr);

    for (int i = 0; i < 5; ++i) {
        const std::vector<unsigned char> bytes = Encode(msgs[i]);
        ZrRPCMessageFromServer reply;
        const unsigned char* data = bytes.data();
        unsigned long remaining = bytes.size();
        ASSERT_TRUE(reply.Read(data, remaining)) << "row " << i;
        EXPECT_EQ(remaining, 0u) << "row " << i;
        EXPECT_EQ(reply.xid(), 77u);
        EXPECT_EQ(reply.reply_body(), expected[i]) << "row " << i;
        EXPECT_EQ(std::vector<unsigned char>(reply.Where(), reply.Where() + reply.HowBig()), bytes)
            << "row " << i;
    }
}

} // namespace
