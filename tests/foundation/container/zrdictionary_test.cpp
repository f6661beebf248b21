#include "foundation/container/zrdictionary.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "foundation/string/zrcstring.h"
#include "foundation/string/zrunistring.h"

namespace {

using Dict = ZrDictionary<ZrDDAssoc<ZrUniString, int>>;
using Pair = ZrDDAssoc<ZrUniString, int>;

ZrUniString Key(int i) {
    return ZrUniString(("key/" + std::to_string(i)).c_str());
}

void Fill(Dict& dict, int n) {
    for (int i = 0; i < n; ++i)
        ASSERT_TRUE(dict.Insert(new Pair(Key(i), i)));
}

std::vector<std::string> Order(const Dict& dict) {
    std::vector<std::string> out;
    ZrDictionaryIterator<Pair> it(dict);
    while (Pair* p = it.Next())
        out.push_back(p->Key().AsUtf8());
    return out;
}

TEST(ZrDictionaryHash, MatchesByteBufferHashValue) {
    std::mt19937 rng(7);
    for (uint32_t length = 0; length < 200; ++length) {
        std::vector<unsigned char> bytes(length);
        uint32_t h = 0;
        for (auto& b : bytes)
            h = h * 9 + (b = static_cast<unsigned char>(rng()));
        ASSERT_EQ(ZrHashBytes(bytes.data(), length), h) << "length " << length;
    }
    const unsigned char two[] = {1, 2};
    EXPECT_EQ(ZrHashBytes(two, 2), 11u);
    ZrUniString text("nfsserver/shares/smb/user123/host45/share6/winname");
    EXPECT_EQ(ZrKeyHash(text), text.HashValue());
    ZrCString narrow("abc");
    EXPECT_EQ(ZrKeyHash(narrow), narrow.HashValue());
}

// The table starts with four buckets and grows fourfold when an insert finds the count at the
// threshold (the thirteenth insert rebuilds); every key stays findable across each rebuild.
TEST(ZrDictionary, GrowsByFourAtEachThreshold) {
    struct Row {
        int inserts;
        uint32_t buckets, threshold, shift;
    };
    const Row rows[] = {{0, 4, 12, 28},   {12, 4, 12, 28},   {13, 16, 48, 26},
                        {48, 16, 48, 26}, {49, 64, 192, 24}, {193, 256, 768, 22}};
    for (const Row& row : rows) {
        Dict dict;
        Fill(dict, row.inserts);
        EXPECT_EQ(dict.BucketCount(), row.buckets) << row.inserts;
        EXPECT_EQ(dict.Threshold(), row.threshold) << row.inserts;
        EXPECT_EQ(dict.Shift(), row.shift) << row.inserts;
        EXPECT_EQ(dict.Count(), uint32_t(row.inserts));
        for (int i = 0; i < row.inserts; ++i)
            ASSERT_EQ(dict.Find(Key(i))->Value(), i) << i;
        EXPECT_EQ(dict.Find(Key(row.inserts)), nullptr);
    }
}

TEST(ZrDictionary, DuplicateInsertReturnsFalseAndKeepsValue) {
    Dict dict;
    Fill(dict, 12);
    // The duplicate arrives when the count is at the threshold: the table grows, then refuses it.
    Pair duplicate(Key(3), 99);
    EXPECT_FALSE(dict.Insert(&duplicate));
    EXPECT_EQ(dict.BucketCount(), 16u);
    EXPECT_EQ(dict.Count(), 12u);
    EXPECT_EQ(dict.Find(Key(3))->Value(), 3);
}

TEST(ZrDictionary, RemoveHandsPairBackAndLeavesNoHole) {
    Dict dict;
    Fill(dict, 40);
    Pair* p = dict.Find(Key(17));
    ASSERT_NE(p, nullptr);
    uint32_t bucket = dict.BucketOf(Key(17));
    uint32_t before = dict.BucketAt(bucket).Count();
    ASSERT_TRUE(dict.Remove(p));
    EXPECT_EQ(dict.Find(Key(17)), nullptr);
    EXPECT_EQ(dict.Count(), 39u);
    EXPECT_EQ(dict.BucketCount(), 16u);
    EXPECT_EQ(dict.BucketAt(bucket).Count(), before - 1);
    EXPECT_TRUE(dict.BucketAt(bucket).IsDense());
    EXPECT_FALSE(dict.Remove(p));
    for (int i = 0; i < 40; ++i) {
        if (i != 17) {
            ASSERT_NE(dict.Find(Key(i)), nullptr) << i;
        }
    }
    // The pair is the caller's again; reinserting it works.
    EXPECT_TRUE(dict.Insert(p));
    EXPECT_EQ(dict.Find(Key(17)), p);
}

TEST(ZrDictionary, IterationFollowsBucketsThenSlots) {
    for (int n : {5, 13, 100}) {
        Dict dict;
        Fill(dict, n);
        // Expected: keys grouped by HashValue modulo the bucket count, each group in insertion order.
        std::map<uint32_t, std::vector<std::string>> groups;
        for (int i = 0; i < n; ++i)
            groups[Key(i).HashValue() % dict.BucketCount()].push_back(Key(i).AsUtf8());
        std::vector<std::string> expected;
        for (auto& [bucket, keys] : groups)
            expected.insert(expected.end(), keys.begin(), keys.end());
        EXPECT_EQ(Order(dict), expected) << n;
    }
}

TEST(ZrDictionary, FlushForgetsOrDestroysPairsAndKeepsBuckets) {
    Dict dict;
    EXPECT_TRUE(Order(dict).empty());
    dict.Flush(true); // an empty table flushes quietly
    dict.Flush(false);
    EXPECT_EQ(dict.BucketCount(), 4u);
    std::vector<Pair*> mine;
    for (int i = 0; i < 20; ++i) {
        mine.push_back(new Pair(Key(i), i));
        ASSERT_TRUE(dict.Insert(mine.back()));
    }
    dict.Flush(false);
    EXPECT_EQ(dict.Count(), 0u);
    EXPECT_EQ(dict.BucketCount(), 16u);
    EXPECT_EQ(dict.Find(Key(1)), nullptr);
    for (Pair* p : mine)
        delete p; // still alive after Flush(false): the sanitizer build would catch a double free
    Fill(dict, 20);
    // An iterator that is part-way through ends when the table is flushed under it.
    ZrDictionaryIterator<Pair> it(dict);
    ASSERT_NE(it.Next(), nullptr);
    dict.Flush(true); // the sanitizer build would report a leak if these were not destroyed
    EXPECT_EQ(it.Next(), nullptr);
    EXPECT_TRUE(Order(dict).empty());
}

TEST(ZrDictionary, AcceptsNarrowKeysAndOwningPairs) {
    struct Counted {
        explicit Counted(int* alive) : m_alive(alive) { ++*m_alive; }
        ~Counted() { --*m_alive; }
        int* m_alive;
    };
    int alive = 0;
    {
        ZrDictionary<ZrDIAssocOwnsMemory<ZrCString, Counted>> dict;
        for (int i = 0; i < 30; ++i) {
            // Appended, not "x" + std::to_string(i): that trips a false -Wrestrict in g++ 12 at -O3.
            std::string name = std::string("n").append(std::to_string(i));
            ASSERT_TRUE(dict.Insert(new ZrDIAssocOwnsMemory<ZrCString, Counted>(
                ZrCString(name.c_str()), std::make_unique<Counted>(&alive))));
        }
        EXPECT_EQ(alive, 30);
        auto* p = dict.Find(ZrCString("n7"));
        ASSERT_NE(p, nullptr);
        ASSERT_TRUE(dict.Remove(p));
        delete p;
        EXPECT_EQ(alive, 29);
        EXPECT_EQ(dict.Find(ZrCString("n7")), nullptr);
        EXPECT_NE(dict.Find(ZrCString("n29")), nullptr);
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
