// The ONC RPC records against hand-written byte vectors, and their reading rules.
#include "rpc/zrrpcmessage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Packed(const ZrPacket& record) {
    return Bytes(record.Where(), record.Where() + record.HowBig());
}

// Hex digits to bytes; blanks between fields are skipped.
Bytes H(const char* hex) {
    Bytes out;
    for (const char* p = hex; *p; ++p)
        if (*p != ' ') {
            out.push_back(static_cast<unsigned char>(std::stoi(std::string(p, 2), nullptr, 16)));
            ++p;
        }
    return out;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

template <class Record> bool ReadAll(Record& record, const Bytes& bytes, unsigned long* left = nullptr) {
    const unsigned char* data = bytes.data();
    unsigned long remaining = bytes.size();
    bool ok = record.Read(data, remaining);
    if (left)
        *left = remaining;
    return ok;
}

ZrRPCAuthBlock UnixBlock() {
    ZrRPCUnixAuth body;
    body.stamp(7);
    body.machinename(ZrRPCString("hostx"));
    body.uid(1000);
    body.gid(100);
    body.grouplist({ZrRPCGroup(4), ZrRPCGroup(27)});
    ZrRPCAuthBlock block(ZrRPCEnum::AuthUnix);
    block.auth_body(body);
    return block;
}

// flavour 1, length 36: stamp, "hostx" (5 bytes + 3 padding), uid, gid, two groups.
const Bytes kUnixBlock = H("00000001 00000024 00000007 00000005 686f737478000000 000003e8 00000064 00000002 "
                           "00000004 0000001b");
const Bytes kNoneBlock = H("00000000 00000000");

TEST(RPCRecords, PacksCallWithUnixCredentials) {
    ZrRPCCallBody body;
    body.prog(100003);
    body.vers(2);
    body.proc(105);
    body.credentials(UnixBlock());
    body.verifier(ZrRPCAuthBlock());
    body.rpc_data(ZrByteBuffer("\x01\x02\x03", 3));
    ZrRPCMessageFromClient call;
    call.xid(0x01020304);
    call.call_body(body);

    Bytes expected = Cat(
        {H("01020304 00000000 00000002 000186a3 00000002 00000069"), kUnixBlock, kNoneBlock, H("010203")});
    EXPECT_EQ(Packed(call), expected);
    EXPECT_EQ(call.HowBig(), expected.size());

    ZrRPCMessageFromClient back;
    ASSERT_TRUE(ReadAll(back, expected));
    EXPECT_TRUE(back.IsValid());
    EXPECT_EQ(back, call);
    EXPECT_EQ(back.call_body().credentials().auth_body().machinename().Text().AsUtf8(), "hostx");
    EXPECT_EQ(back.call_body().credentials().auth_body().grouplist().size(), 2u);
    EXPECT_EQ(ZrRPCMessageFromClient(call), call) << "constructed from another record's bytes";
    // Changing a field packs again.
    call.xid(0x01020305);
    EXPECT_EQ(Packed(call)[3], 5);
}

// Replies of every shape: the bytes read into the expected fields, and pack back to the same bytes.
TEST(RPCRecords, ReadsAndPacksReplies) {
    ZrRPCAccepted success;
    success.rpc_data(ZrByteBuffer("\x00\x00\x00\x66\x00\x00", 6));
    ZrRPCAccepted mismatch;
    mismatch.accept_stat(ZrRPCEnum::ProgMismatch);
    mismatch.mismatch(2, 3);
    ZrRPCAccepted unavailable;
    unavailable.accept_stat(ZrRPCEnum::ProgUnavail);
    ZrRPCRejected version;
    version.reject_stat(ZrRPCEnum::RpcMismatch);
    version.mismatch(2, 2);
    ZrRPCRejected auth;
    auth.reject_stat(ZrRPCEnum::AuthError);
    auth.auth_stat(5);

    struct Row {
        Bytes body; // after xid and message type
        ZrRPCReplyBody expected;
    } rows[5];
    rows[0].body = Cat({H("00000000"), kNoneBlock, H("00000000 00000066 0000")});
    rows[0].expected.accepted(success);
    rows[1].body = Cat({H("00000000"), kNoneBlock, H("00000002 00000002 00000003")});
    rows[1].expected.accepted(mismatch);
    rows[2].body = Cat({H("00000000"), kUnixBlock, H("00000001")});
    unavailable.verifier(UnixBlock());
    rows[2].expected.accepted(unavailable);
    rows[3].body = H("00000001 00000000 00000002 00000002");
    rows[3].expected.rejected(version);
    rows[4].body = H("00000001 00000001 00000005");
    rows[4].expected.rejected(auth);

    for (int i = 0; i < 5; ++i) {
        Bytes bytes = Cat({H("cafebabe 00000001"), rows[i].body});
        ZrRPCMessageFromServer reply;
        ASSERT_TRUE(ReadAll(reply, bytes)) << "row " << i;
        EXPECT_EQ(reply.xid(), 0xCAFEBABEu);
        EXPECT_EQ(reply.reply_body(), rows[i].expected) << "row " << i;
        EXPECT_EQ(Packed(reply), bytes) << "row " << i;
        EXPECT_GT(reply.DebugString(0).Length(), 0u);
    }
}

TEST(RPCRecords, ReadingRulesRejectBadRecords) {
    // xid 9, a reply, accepted, no verifier, success.
    const Bytes reply = H("00000009 00000001 00000000 00000000 00000000 00000000");
    struct Row {
        const char* why;
        Bytes bytes;
    } rows[] = {
        {"verifier of flavour 2", H("00000009 00000001 00000000 00000002 00000000 00000000")},
        {"flavour 0 with a body", H("00000009 00000001 00000000 00000000 00000004 01020304 00000000")},
        {"unix body longer than its block",
         H("00000009 00000001 00000000 00000001 00000008 00000000 00000000 00000000")},
        {"reply status 2", H("00000009 00000001 00000002 00000000")},
        {"reject status 2", H("00000009 00000001 00000001 00000002 00000000")},
        {"a call, not a reply", H("00000009 00000000 00000000 00000000 00000000 00000000")},
        {"accept status cut short", Bytes(reply.begin(), reply.end() - 1)},
        {"mismatch without its versions", H("00000009 00000001 00000000 00000000 00000000 00000002")},
        {"empty", {}},
    };
    for (const Row& row : rows) {
        ZrRPCMessageFromServer message;
        message.SetValid(true);
        EXPECT_FALSE(ReadAll(message, row.bytes)) << row.why;
        EXPECT_FALSE(message.IsValid()) << row.why;
    }
    ZrRPCMessageFromServer good;
    EXPECT_TRUE(ReadAll(good, reply));
    EXPECT_TRUE(good.IsValid());
    EXPECT_EQ(good.reply_body().accepted().accept_stat(), ZrRPCEnum::Success);
    EXPECT_EQ(good.reply_body().accepted().rpc_data().Length(), 0u);
}

TEST(RPCRecords, StringsAndOpaquesArePaddedToFourBytes) {
    EXPECT_EQ(Packed(ZrRPCString("abcde")), H("00000005 6162636465000000"));
    EXPECT_EQ(Packed(ZrRPCString("abcd")), H("00000004 61626364"));
    EXPECT_EQ(Packed(ZrRPCString("")), H("00000000"));
    EXPECT_EQ(Packed(ZrRPCByteBuffer(ZrByteBuffer("\x09", 1))), H("00000001 09000000"));

    // Padding is skipped unchecked, but it must be there.
    Bytes dirty = H("00000005 6162636465070707 ff");
    ZrRPCString text;
    unsigned long left = 0;
    ASSERT_TRUE(ReadAll(text, dirty, &left));
    EXPECT_EQ(text.Text().AsUtf8(), "abcde");
    EXPECT_EQ(left, 1u);
    EXPECT_FALSE(ReadAll(text, Bytes(dirty.begin(), dirty.begin() + 11)));
    // Counts beyond the bytes left are refused: an opaque's length, a group list's count.
    ZrRPCByteBuffer huge;
    EXPECT_FALSE(ReadAll(huge, H("ffffffff 01020304")));
    ZrRPCUnixAuth body;
    EXPECT_FALSE(ReadAll(body, H("00000000 00000000 00000000 00000000 7fffffff")));
}

} // namespace
