// Cross-check of the RPC records with an independent XDR implementation (libtirpc): our call decodes
// there, and its replies decode here.
#include <gtest/gtest.h>
#include <rpc/rpc.h>

#include <cstring>
#include <vector>

#include "rpc/zrrpcmessage.h"
#include "rpc/zrsmbnfsresponse.h"

namespace {

TEST(TirpcCrossCheck, OurCallDecodesWithXdrCallmsg) {
    ZrRPCUnixAuth body;
    body.stamp(3);
    body.machinename(ZrRPCString("builder-7"));
    body.uid(1234);
    body.gid(567);
    body.grouplist({ZrRPCGroup(10), ZrRPCGroup(20), ZrRPCGroup(30)});
    ZrRPCAuthBlock block(ZrRPCEnum::AuthUnix);
    block.auth_body(body);
    ZrSMBNFSRequest request(kSMBNFSRegisterDisplay);
    request.user("alice");
    request.display(":3");
    ZrRPCCallBody callBody;
    callBody.prog(100003);
    callBody.vers(2);
    callBody.proc(105);
    callBody.credentials(block);
    callBody.verifier(block);
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

    XDR credXdr;
    xdrmem_create(&credXdr, credArea, msg.rm_call.cb_cred.oa_length, XDR_DECODE);
    authunix_parms parms{};
    ASSERT_TRUE(xdr_authunix_parms(&credXdr, &parms));
    EXPECT_EQ(parms.aup_time, 3u);
    EXPECT_STREQ(parms.aup_machname, "builder-7");
    EXPECT_EQ(parms.aup_uid, 1234u);
    EXPECT_EQ(parms.aup_gid, 567u);
    ASSERT_EQ(parms.aup_len, 3u);
    EXPECT_EQ(parms.aup_gids[2], 30u);
    xdr_destroy(&credXdr);
    credXdr.x_op = XDR_FREE;
    xdr_authunix_parms(&credXdr, &parms);
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

ZrRPCMessageFromServer Decode(const std::vector<unsigned char>& bytes) {
    ZrRPCMessageFromServer reply;
    const unsigned char* data = bytes.data();
    unsigned long remaining = bytes.size();
    EXPECT_TRUE(reply.Read(data, remaining));
    EXPECT_EQ(remaining, 0u);
    return reply;
}

TEST(TirpcCrossCheck, RepliesEncodedByXdrReplymsgDecodeHere) {
    ZrSMBNFSResponse response(kSMBNFSSetConfig);
    response.error("abc");
    g_result.assign(response.Where(), response.Where() + response.HowBig());
    ASSERT_EQ(g_result.size() % 4, 0u);

    rpc_msg msg{};
    msg.rm_xid = 77;
    msg.rm_direction = REPLY;
    msg.rm_reply.rp_stat = MSG_ACCEPTED;
    msg.acpted_rply.ar_verf = _null_auth;
    msg.acpted_rply.ar_stat = SUCCESS;
    msg.acpted_rply.ar_results.where = nullptr;
    msg.acpted_rply.ar_results.proc = reinterpret_cast<xdrproc_t>(PutResult);
    ZrRPCMessageFromServer accepted = Decode(Encode(msg));
    EXPECT_EQ(accepted.xid(), 77u);
    ASSERT_EQ(accepted.reply_body().reply_stat(), ZrRPCEnum::MsgAccepted);
    ZrByteBuffer data = accepted.reply_body().accepted().rpc_data();
    const unsigned char* p = data.Data();
    unsigned long left = data.Length();
    ZrSMBNFSResponse back;
    ASSERT_TRUE(back.Read(p, left));
    EXPECT_EQ(back, response);

    msg.acpted_rply.ar_stat = PROG_MISMATCH;
    msg.acpted_rply.ar_vers.low = 2;
    msg.acpted_rply.ar_vers.high = 3;
    ZrRPCMessageFromServer mismatch = Decode(Encode(msg));
    EXPECT_EQ(mismatch.reply_body().accepted().accept_stat(), ZrRPCEnum::ProgMismatch);
    EXPECT_EQ(mismatch.reply_body().accepted().high(), 3u);

    rpc_msg denied{};
    denied.rm_xid = 78;
    denied.rm_direction = REPLY;
    denied.rm_reply.rp_stat = MSG_DENIED;
    denied.rjcted_rply.rj_stat = AUTH_ERROR;
    denied.rjcted_rply.rj_why = AUTH_TOOWEAK;
    ZrRPCMessageFromServer rejected = Decode(Encode(denied));
    ASSERT_EQ(rejected.reply_body().reply_stat(), ZrRPCEnum::MsgDenied);
    EXPECT_EQ(rejected.reply_body().rejected().reject_stat(), ZrRPCEnum::AuthError);
    EXPECT_EQ(rejected.reply_body().rejected().auth_stat(), uint32_t(AUTH_TOOWEAK));
}

} // namespace
