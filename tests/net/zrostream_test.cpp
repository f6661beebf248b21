#include "net/zrostream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "net/zrerror.h"

namespace {

// Reads everything written to a pipe once its write end is closed.
std::string Drain(int fd) {
    std::string out;
    char chunk[256];
    ssize_t n;
    while ((n = read(fd, chunk, sizeof chunk)) > 0)
        out.append(chunk, n);
    return out;
}

TEST(ZrOFStream, WritesConvertedTextWithoutTerminators) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    {
        ZrOFStream out(fds[1], 42, 0);
        out << "caf\xc3\xa9 " << 42 << " " << -7 << " " << 4000000000u << " " << -5L << " " << 18000000000000000000UL;
        out << ZrUniString();
        out << ZrError(ZrUniString(" end"));
        EXPECT_EQ(out.Flush(), 0);
    }
    close(fds[1]);
    EXPECT_EQ(Drain(fds[0]), "caf\xc3\xa9 42 -7 4000000000 -5 18000000000000000000 end");
    close(fds[0]);
}

TEST(ZrOFStream, EmptyTextWritesNoBytes) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    {
        ZrOFStream out(fds[1], 42, 0);
        out.WriteString(ZrUniString());
        out << "";
    }
    close(fds[1]);
    EXPECT_EQ(Drain(fds[0]), "");
    close(fds[0]);
}

TEST(ZrOFStream, UnconvertibleTextIsDroppedNotTruncatedGarbage) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    {
        // A lone surrogate cannot be written strictly as UTF-8: the whole text is dropped.
        ZrOFStream out(fds[1], 42, 0);
        out << ZrUniString(std::u16string_view(u"ok\xd800"));
        out << "|";
    }
    close(fds[1]);
    EXPECT_EQ(Drain(fds[0]), "|");
    close(fds[0]);
}

TEST(ZrOSStream, AppendsAndTruncatesTheReferredString) {
    ZrUniString target("x=");
    ZrOSStream out(target);
    out << 1 << "," << ZrUniString("two");
    EXPECT_EQ(target.AsUtf8(), "x=1,two");
    out.Truncate();
    EXPECT_EQ(target.Length(), 0u);
}

TEST(ZrOBufferedStream, HandsCollectedTextToTargetOnFlush) {
    ZrUniString sink;
    ZrOSStream target(sink);
    ZrOBufferedStream buffered(&target);
    buffered << "held " << 3U;
    EXPECT_EQ(sink.Length(), 0u);
    buffered.Flush();
    EXPECT_EQ(sink.AsUtf8(), "held 3");
    ZrOBufferedStream orphan;
    orphan << "kept";
    EXPECT_EQ(orphan.Flush(), 0);
    EXPECT_EQ(orphan.Collected().AsUtf8(), "kept");
}

}  // namespace
