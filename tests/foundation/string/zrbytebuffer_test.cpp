#include "foundation/string/zrbytebuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "foundation/container/zrdhash.h"

namespace {

// The rule itself (the length, an eighth of it and sixteen, rounded down to sixteen) is held by the
// random edits below; Append must apply it on reaching the capacity, not only past it.
TEST(ZrByteBufferGrowth, AppendGrowsOnReachingCapacity) {
    ZrByteBuffer buffer;
    unsigned char byte = 7;
    // 1 + 0 + 16 = 17 -> 16 from the first byte; the sixteenth reaches it: 16 + 2 + 16 = 34 -> 32.
    for (uint64_t length = 1; length <= 16; ++length) {
        buffer.Append(&byte, 1);
        EXPECT_EQ(buffer.Capacity(), length < 16 ? 16u : 32u) << length;
    }
}

// Copies share one representation until one of them is written, by an append or by an exact
// assignment (which holds just its bytes and grows by the rule afterwards); self-append and
// self-assignment keep the bytes; an empty buffer has no representation until made unique.
TEST(ZrByteBufferSharing, CopiesShareUntilWritten) {
    ZrByteBuffer a("abc", 3);
    ZrByteBuffer b(a), c(a);
    EXPECT_EQ(a.ShareCount(), 3u);
    b.AppendByte('d');
    c.AssignExact("0123456789", 10);
    EXPECT_EQ(a.ShareCount(), 1u);
    EXPECT_EQ(a, ZrByteBuffer("abc", 3));
    EXPECT_EQ(b, ZrByteBuffer("abcd", 4));
    EXPECT_NE(b, ZrByteBuffer("abce", 4));
    EXPECT_EQ(c.Capacity(), 10u);
    c.AppendByte('x'); // 10 + 1 passes 10: extend(11) -> 11 + 1 + 16 = 28 -> 16
    EXPECT_EQ(c.Capacity(), 16u);
    EXPECT_EQ(c, ZrByteBuffer("0123456789x", 11));
    c.AssignExact("", 0);
    EXPECT_EQ(c.ShareCount(), 0u);
    a = a;
    a.Append(a);
    EXPECT_EQ(a, ZrByteBuffer("abcabc", 6));
    ZrByteBuffer empty;
    EXPECT_EQ(empty.ShareCount(), 0u);
    EXPECT_EQ(empty, ZrByteBuffer("", 0));
    empty._Unique();
    EXPECT_EQ(empty.ShareCount(), 1u);
    EXPECT_EQ(empty.Length(), 0u);
}

// Random edits on buffers born in every way (append, exact assignment, copy of a shared one; a zero
// fill is one of the edits) against a plain vector: bytes must survive every move out of a buffer's
// first room, and the capacity must keep the growth rule whatever the room was.
TEST(ZrByteBufferEdit, RandomEditsMatchAPlainVector) {
    std::mt19937 rng(2026);
    for (int round = 0; round < 300; ++round) {
        std::vector<unsigned char> model(rng() % 40);
        for (auto& b : model)
            b = static_cast<unsigned char>(rng());
        ZrByteBuffer buffer, keeper;
        switch (round % 3) {
        case 0:
            buffer.Append(model.data(), model.size());
            break;
        case 1:
            buffer.AssignExact(model.data(), model.size());
            break;
        case 2:
            keeper.Append(model.data(), model.size());
            buffer = keeper;
            break;
        }
        std::vector<unsigned char> kept = model;
        for (int step = 0; step < 20; ++step) {
            unsigned char bytes[64];
            for (auto& b : bytes)
                b = static_cast<unsigned char>(rng());
            size_t count = rng() % 64, at = model.empty() ? 0 : rng() % (model.size() + 1);
            switch (rng() % 5) {
            case 0:
                buffer.Append(bytes, count);
                model.insert(model.end(), bytes, bytes + count);
                break;
            case 1:
                buffer.InsertBytes(at, bytes, count);
                model.insert(model.begin() + at, bytes, bytes + count);
                break;
            case 2:
                count = std::min(count, model.size() - at);
                buffer.RemoveBytes(at, count);
                model.erase(model.begin() + at, model.begin() + at + count);
                break;
            case 3: {
                uint64_t capacity = buffer.Capacity(), length = model.size() + count;
                buffer.SetLength(length);
                model.resize(length, 0);
                if (length >= capacity) {
                    EXPECT_EQ(buffer.Capacity(), (length + length / 8 + 16) & ~uint64_t(15));
                }
                break;
            }
            case 4: { // Resize leaves the new bytes to the caller, who writes them at once
                size_t old = model.size();
                buffer.Resize(old + count);
                if (count)
                    std::memcpy(buffer.MutableData() + old, bytes, count);
                model.insert(model.end(), bytes, bytes + count);
                break;
            }
            }
            ASSERT_EQ(buffer.Length(), model.size());
            ASSERT_TRUE(model.empty() || std::memcmp(buffer.Data(), model.data(), model.size()) == 0);
            ASSERT_LE(buffer.Length(), buffer.Capacity());
        }
        if (round % 3 == 2) {
            EXPECT_TRUE(kept.empty() || std::memcmp(keeper.Data(), kept.data(), kept.size()) == 0);
        }
    }
}

TEST(ZrByteBufferEdit, WipeZeroesEverySharingHandle) {
    ZrByteBuffer secret("pa55word", 8);
    ZrByteBuffer copy(secret);
    secret.Wipe();
    for (uint64_t i = 0; i < copy.Length(); ++i)
        EXPECT_EQ(copy[i], 0);
}

// The hash (nine times the hash so far plus each byte, the dictionaries' bucket function) at every
// length around the 8- and 16-byte blocks, random bytes and all-0xFF (which fills every lane of the
// blocked sum to its maximum), from aligned and unaligned starts.
TEST(ZrByteBufferHash, NineTimesPlusByte) {
    EXPECT_EQ(ZrByteBuffer("\x01\x02", 2).HashValue(), 11u);
    std::mt19937 rng(11);
    for (uint32_t length = 0; length < 200; ++length) {
        for (int fill = 0; fill < 2; ++fill) {
            std::vector<unsigned char> bytes(length + 3, 0xFF);
            uint32_t h = 0;
            for (size_t i = 3; i < bytes.size(); ++i)
                h = h * 9 + (fill ? bytes[i] : (bytes[i] = static_cast<unsigned char>(rng())));
            ASSERT_EQ(ZrByteBuffer(bytes.data() + 3, length).HashValue(), h) << length;
            ASSERT_EQ(ZrHashBytes(bytes.data() + 3, length), h) << length;
        }
    }
}

} // namespace
