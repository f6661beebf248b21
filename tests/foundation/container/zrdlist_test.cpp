#include "foundation/container/zrdlist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/string/zrunistring.h"

namespace {

std::vector<int> Contents(const ZrDList<int>& list) {
    std::vector<int> out;
    for (int v : list)
        out.push_back(v);
    return out;
}

TEST(ZrDList, GrowsCapacityInStepsAndBitmapWithHeadroom) {
    struct Row {
        uint32_t step, appends, capacity, bitmapWords;
    };
    const Row rows[] = {
        {10, 0, 10, 10},    // a new list: step, capacity and bitmap of ten
        {10, 10, 10, 10},   // exactly full: no growth yet
        {10, 11, 20, 10},   // index 10 lands in (10/10+1)*10
        {7, 8, 14, 10},     // non-default step
        {10, 320, 320, 10}, // bits 0..319 fit in ten words
        {10, 321, 330, 14}, // bit 320 needs word 10: (320+32)/32+3 words
    };
    for (const Row& row : rows) {
        ZrDList<int> list = row.step == 10 ? ZrDList<int>() : ZrDList<int>(row.step); // ten is the default
        for (uint32_t i = 0; i < row.appends; ++i)
            EXPECT_EQ(list.InsertNonConst(int(i)), i);
        EXPECT_EQ(list.Capacity(), row.capacity) << "step " << row.step << " appends " << row.appends;
        EXPECT_EQ(list.BitmapWords(), row.bitmapWords) << "step " << row.step << " appends " << row.appends;
        EXPECT_EQ(Contents(list).size(), row.appends);
    }
}

// Removed slots stay holes: skipped, not reused, counted apart from the end. Flush empties the list
// back to its first room, raises the change counter and ends an iterator part-way through, even when
// the list is refilled under it.
TEST(ZrDList, RemovedSlotsStayHolesAndFlushEndsIterators) {
    ZrDList<int> list(3);
    for (int v : {1, 2, 3})
        list.InsertNonConst(v);
    EXPECT_TRUE(list.RemoveAt(1));
    EXPECT_FALSE(list.RemoveAt(1));
    EXPECT_FALSE(list.RemoveAt(7));
    EXPECT_EQ(list.InsertNonConst(4), 3u);
    EXPECT_EQ(list.Count(), 3u);
    EXPECT_EQ(list.EndIndex(), 4u);
    EXPECT_FALSE(list.IsDense());
    EXPECT_EQ(Contents(list), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(list.Find(3), 2u);
    EXPECT_EQ(list.Find(2), 0xFFFFFFFFu);
    for (int i = 0; i < 40; ++i)
        list.InsertNonConst(i);
    ZrDListIterator<int> it(list);
    ASSERT_NE(it.Next(), nullptr);
    uint32_t before = list.ChangeCounter();
    list.Flush();
    EXPECT_EQ(list.ChangeCounter(), before + 1);
    EXPECT_EQ(list.Count(), 0u);
    EXPECT_EQ(list.Capacity(), 3u);
    EXPECT_EQ(list.BitmapWords(), 10u);
    list.InsertNonConst(8);
    list.InsertNonConst(8); // a slot past the iterator's position, which it must not reach
    EXPECT_EQ(it.Next(), nullptr);
    EXPECT_EQ(Contents(list), (std::vector<int>{8, 8}));
}

// Copies and moves at every size keep holes and contents and leave each other alone. With two inline
// slots the strings cross both storage edges: the third slot moves them to the heap, the 33rd bit
// moves the bitmap; without, they live on the heap from the first.
template <uint32_t N> void CheckCopiesAndMoves() {
    using List = ZrDList<ZrUniString, N>;
    for (uint32_t size : {0u, 1u, 2u, 3u, 11u, 32u, 33u, 321u}) {
        SCOPED_TRACE(testing::Message() << "inline slots " << N << ", size " << size);
        List list;
        for (uint32_t i = 0; i < size; ++i)
            list.Insert(ZrUniString(std::to_string(i).c_str()));
        for (uint32_t hole : {1u, 40u}) // a hole in the inline part and one past it
            if (hole < size) {
                ASSERT_TRUE(list.RemoveAt(hole));
            }
        auto check = [&](const List& l) {
            ASSERT_EQ(l.EndIndex(), size);
            EXPECT_EQ(l.Count(), size - (size > 1) - (size > 40));
            for (uint32_t i = 0; i < size; ++i) {
                bool hole = i == 1 || i == 40;
                ASSERT_EQ(l.IsOccupied(i), !hole) << i;
                EXPECT_EQ(l[i].AsUtf8(), hole ? "" : std::to_string(i));
            }
        };
        List copy(list), assigned, moveAssigned;
        assigned.Insert(ZrUniString("replaced"));
        assigned = list;
        List moved(std::move(copy));
        EXPECT_EQ(copy.EndIndex(), 0u);
        EXPECT_EQ(copy.Capacity(), List().Capacity());
        copy.Insert(ZrUniString("again")); // a moved-from list is a new list
        EXPECT_EQ(copy[0].AsUtf8(), "again");
        moveAssigned.Insert(ZrUniString("x"));
        moveAssigned = std::move(moved);
        check(assigned);
        check(moveAssigned);
        assigned.Insert(ZrUniString("tail"));
        moveAssigned.Insert(ZrUniString("tail"));
        check(list); // untouched by the copies growing on
    }
}

TEST(ZrDList, HeapAndInlineStorageKeepContentsAcrossCopiesAndMoves) {
    CheckCopiesAndMoves<0>();
    CheckCopiesAndMoves<2>();
}

} // namespace
