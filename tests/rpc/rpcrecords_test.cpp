// The reading rules of the ONC RPC records, against hand-written byte vectors; the well-formed records
// are checked against libtirpc (tirpc_test).
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

template <class Record> bool ReadAll(Record& record, const Bytes& bytes, unsigned long* left = nullptr) {
    const unsigned char* data = bytes.data();
    unsigned long remaining = bytes.size();
    bool ok = record.Read(data, remaining);
    if (left)
        *left = remaining;
    return ok;
}

TEST(RPCRecords, ReadingRulesRejectBadRecords) {
    const std::pair<const char*, Bytes> rows[] = {
        {"verifier of flavour 2", H("00000009 00000001 00000000 00000002 00000000 00000000")},
        {"flavour 0 with a body", H("00000009 00000001 00000000 00000000 00000004 01020304 00000000")},
        {"unix body longer than its block",
         H("00000009 00000001 00000000 00000001 00000008 00000000 00000000 00000000")},
        {"reply status 2 before a whole denial", H("00000009 00000001 00000002 00000001 00000001")},
        {"reject status 2", H("00000009 00000001 00000001 00000002 00000000")},
        {"a call, not a reply", H("00000009 00000000 00000000 00000000 00000000 00000000")},
        {"accept status cut short", H("00000009 00000001 00000000 00000000 00000000 000000")},
        {"mismatch without its versions", H("00000009 00000001 00000000 00000000 00000000 00000002")},
        {"empty", {}},
    };
    for (const auto& [why, bytes] : rows) {
        ZrRPCMessageFromServer message;
        message.SetValid(true);
        EXPECT_FALSE(ReadAll(message, bytes)) << why;
        EXPECT_FALSE(message.IsValid()) << why;
    }
}

TEST(RPCRecords, StringsAndOpaquesArePaddedToFourBytes) {
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
