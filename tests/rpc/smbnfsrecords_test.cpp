// The file-server control records against hand-written byte vectors.
#include "rpc/zrsmbnfsresponse.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Packed(const ZrPacket& record) {
    return Bytes(record.Where(), record.Where() + record.HowBig());
}

template <class Record> bool ReadAll(Record& record, const Bytes& bytes) {
    const unsigned char* data = bytes.data();
    unsigned long remaining = bytes.size();
    return record.Read(data, remaining);
}

TEST(SMBNFSRecords, RequestsCarryTheirCommandsText) {
    const std::pair<uint32_t, Bytes> rows[] = {
        {101, {0, 0, 0, 101, 'u', 0, 0, 0, 'm', 0, 0, 0}},
        {102, {0, 0, 0, 102, 'u', 0, 0, 0, 'c', 0, 0, 0}},
        {103, {0, 0, 0, 103, 'u', 0, 0, 0}},
        {104, {0, 0, 0, 104, 'u', 0, 0, 0}},
        {105, {0, 0, 0, 105, 'u', 0, 0, 0, 'd', 0, 0, 0}},
        {106, {0, 0, 0, 106, 'u', 0, 0, 0}},
        {7, {0, 0, 0, 7, 'u', 0, 0, 0}},
    };
    for (const auto& [command, expected] : rows) {
        ZrSMBNFSRequest request(command);
        request.user("u");
        request.machine("m");
        request.config("c");
        request.display("d");
        EXPECT_EQ(Packed(request), expected) << command;
        ZrSMBNFSRequest back;
        ASSERT_TRUE(ReadAll(back, expected)) << command;
        EXPECT_EQ(back, request) << command;
    }
}

TEST(SMBNFSRecords, StringsAreLittleEndianUnitsWithOneZeroUnit) {
    ZrSMBNFSRequest request(kSMBNFSSetConfig);
    request.user(ZrUniString(u"\u00e9\u0100\u4e00"));
    const Bytes bytes{0, 0, 0, 102, 0xE9, 0, 0, 1, 0, 0x4E, 0, 0, 0, 0};
    EXPECT_EQ(Packed(request), bytes) << "a config never given is the zero unit alone";
    // Units whose low byte is zero do not end the text: only the zero unit does.
    ZrSMBNFSRequest back;
    ASSERT_TRUE(ReadAll(back, bytes));
    EXPECT_EQ(back.user().Text(), ZrUniString(u"\u00e9\u0100\u4e00"));
    ZrControlString other(ZrUniString("ab"), kZrEncodingUtf8);
    ZrSMBNFSRequest narrow(kSMBNFSGetConfig);
    narrow.user(other);
    EXPECT_EQ(Packed(narrow), (Bytes{0, 0, 0, 103, 'a', 'b', 0, 0})) << "another codeset, same terminator";
}

TEST(SMBNFSRecords, ResponsesOfEveryCommand) {
    ZrSMBNFSSessionInfo plain;
    plain.name("p");
    ZrSMBNFSSessionInfo detailed;
    detailed.name("q");
    detailed.details({1, 2, 3, 4, 0x01020304});
    ZrSMBNFSResponse::SessionList two;
    two.Insert(plain);
    two.Insert(detailed);

    struct Row {
        uint32_t command;
        Bytes bytes;
    } rows[] = {
        {101, {0, 0, 0, 101, 'e', 0, 0, 0}},
        {103, {0, 0, 0, 103, 'c', 0, 0, 0, 'e', 0, 0, 0}},
        {104, {0, 0, 0, 104, 0, 0, 0, 2, 'p', 0, 0, 0, 0, 'q', 0, 0, 0, 1,   0, 0, 0,
               1, 0, 0, 0,   2, 0, 0, 0, 3,   0, 0, 0, 4, 1,   2, 3, 4, 'e', 0, 0, 0}},
        {105, {0, 0, 0, 105, 0, 0, 0, 2, 'd', 0, 0, 0, 'e', 0, 0, 0}},
        {106, {0, 0, 0, 106, 0, 0, 0, 9, 'e', 0, 0, 0}},
        {200, {0, 0, 0, 200, 'e', 0, 0, 0}},
    };
    for (const Row& row : rows) {
        ZrSMBNFSResponse response(row.command);
        response.config("c");
        response.sessions(two);
        response.result(row.command == 105 ? 2 : 9);
        response.display("d");
        response.error("e");
        EXPECT_EQ(Packed(response), row.bytes) << row.command;
        ZrSMBNFSResponse back;
        ASSERT_TRUE(ReadAll(back, row.bytes)) << row.command;
        EXPECT_TRUE(back.IsValid());
        EXPECT_EQ(back, response) << row.command;
        // Every field is needed: each shorter prefix is refused and leaves the record invalid.
        for (size_t cut = 0; cut < row.bytes.size(); ++cut) {
            ZrSMBNFSResponse part(101);
            EXPECT_FALSE(ReadAll(part, Bytes(row.bytes.begin(), row.bytes.begin() + cut)))
                << row.command << cut;
            EXPECT_FALSE(part.IsValid());
        }
    }
    // An empty session list is its count alone.
    ZrSMBNFSResponse empty(kSMBNFSListSessions);
    EXPECT_EQ(Packed(empty), (Bytes{0, 0, 0, 104, 0, 0, 0, 0, 0, 0}));
    ZrSMBNFSResponse back;
    ASSERT_TRUE(ReadAll(back, Packed(empty)));
    EXPECT_EQ(back.sessions().Count(), 0u);
}

} // namespace
