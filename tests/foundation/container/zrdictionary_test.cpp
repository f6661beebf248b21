#include "foundation/container/zrdictionary.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/string/zrunistring.h"

namespace {

using Dict = ZrDictionary<ZrDDAssoc<ZrUniString, int>>;
using Pair = ZrDDAssoc<ZrUniString, int>;

ZrUniString Key(int i) {
    std::string key = "key/";
    key += std::to_string(i);
    return ZrUniString(key.c_str());
}

void Fill(Dict& dict, int n) {
    for (int i = 0; i < n; ++i)
        ASSERT_TRUE(dict.Insert(new Pair(Key(i), i)));
}

// The table starts with four buckets and grows fourfold when an insert finds the count at the
// threshold (the thirteenth insert rebuilds); every key stays findable across each rebuild. A duplicate
// is refused and the stored value kept; one that arrives at the threshold grows the table first.
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
        if (row.inserts == 12) {
            Pair duplicate(Key(3), 99);
            EXPECT_FALSE(dict.Insert(&duplicate));
            EXPECT_EQ(dict.BucketCount(), 16u);
            EXPECT_EQ(dict.Count(), 12u);
            EXPECT_EQ(dict.Find(Key(3))->Value(), 3);
        }
    }
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
    for (int i = 0; i < 40; ++i)
        ASSERT_EQ(dict.Find(Key(i)) == nullptr, i == 17) << i;
    // The pair is the caller's again; reinserting it works.
    EXPECT_TRUE(dict.Insert(p));
    EXPECT_EQ(dict.Find(Key(17)), p);
}

// Flush(true), the one the database uses, destroys the pairs (the sanitizer build would report a
// leak otherwise), keeps the buckets, and ends an iterator that is part-way through.
TEST(ZrDictionary, FlushDestroysPairsKeepsBucketsAndEndsIterators) {
    Dict dict;
    EXPECT_EQ(ZrDictionaryIterator<Pair>(dict).Next(), nullptr);
    dict.Flush(true); // an empty table flushes quietly
    Fill(dict, 20);
    ZrDictionaryIterator<Pair> it(dict);
    ASSERT_NE(it.Next(), nullptr);
    dict.Flush(true);
    EXPECT_EQ(it.Next(), nullptr);
    EXPECT_EQ(dict.Count(), 0u);
    EXPECT_EQ(dict.BucketCount(), 16u);
    EXPECT_EQ(dict.Find(Key(1)), nullptr);
    EXPECT_EQ(ZrDictionaryIterator<Pair>(dict).Next(), nullptr);
}

} // namespace
