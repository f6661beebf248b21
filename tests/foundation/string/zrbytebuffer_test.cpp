#include "foundation/string/zrbytebuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "foundation/container/zrdhash.h"

// The test links with free() wrapped (tests/CMakeLists.txt): the watched block, on its way back to the
// allocator, sets g_leftOver to whether any of its first g_watchedLength bytes is not zero.
static const unsigned char* g_watched;
static size_t g_watchedLength;
static int g_leftOver;
extern "C" void __real_free(void* block);
extern "C" void __wrap_free(void* block) {
    if (block && block == g_watched)
        g_leftOver = std::count(g_watched, g_watched + g_watchedLength, 0) != int64_t(g_watchedLength);
    __real_free(block);
}

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

// A secret's bytes after the buffer holding them grew, was cut, wiped or released: the room it left
// behind and the blocks it gave back hold none of it, and a wipe never reaches bytes a copy still uses.
TEST(ZrByteBufferWipe, NoCopyOfASecretIsLeftBehind) {
    const char secret[] = "pa55word-pa55word";
    ZrByteBuffer buffer(secret, 17);
    const unsigned char* room = buffer.Data(); // behind the representation, which lives on
    buffer.Append(secret, 17);                 // 34 bytes outgrow the room's 32
    EXPECT_EQ(std::count(room, room + 17, 0), 17);
    g_watched = buffer.Data(), g_watchedLength = 34, g_leftOver = -1;
    buffer.Append(std::string(100, '-').data(), 100);
    EXPECT_EQ(g_leftOver, 0) << "the block a growth leaves";
    buffer.Resize(20);
    buffer.RemoveBytes(0, 4);
    EXPECT_EQ(std::count(buffer.Data() + 16, buffer.Data() + 134, 0), 118) << "cut bytes";
    ZrByteBuffer copy(buffer);
    copy.Wipe();
    EXPECT_TRUE(copy.IsEmpty());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.Data()), 16), "word-pa55wordpa5") << "in use";
    buffer.Wipe(); // alone with its bytes: zeroed in place
    EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + buffer.Length(), 0), 16);
    buffer.Append(secret, 17);
    g_watched = buffer.Data(), g_watchedLength = 33, g_leftOver = -1;
    buffer.AssignExact(secret, 17);
    EXPECT_EQ(g_leftOver, 0) << "the block the last release gives back";
}

// The dictionaries' bucket function (nine times the hash so far plus each byte, modulo 2^32) fixes the
// table order and so the order of the written configuration: known values, worked out apart.
TEST(ZrByteBufferHash, NineTimesPlusByte) {
    const std::pair<std::string, uint32_t> known[] = {
        {"\x01\x02", 11u}, {"share", 839315u}, {std::string(40, '\xFF'), 2074824056u}};
    for (const auto& [text, hash] : known) {
        EXPECT_EQ(ZrByteBuffer(text.data(), text.size()).HashValue(), hash);
        EXPECT_EQ(ZrHashBytes(text.data(), text.size()), hash);
    }
}

} // namespace
