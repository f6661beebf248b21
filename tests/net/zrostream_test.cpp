#include "net/zrostream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>

#include "net/zrerror.h"

namespace {

// What `write` puts through a ZrOFStream (UTF-8) over a pipe, read once the stream is gone.
std::string Written(const std::function<void(ZrOFStream&)>& write) {
    int fds[2];
    if (pipe(fds) != 0)
        return "(no pipe)";
    {
        ZrOFStream out(fds[1], 42, 0);
        write(out);
    }
    close(fds[1]);
    std::string bytes;
    char chunk[256];
    for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;)
        bytes.append(chunk, static_cast<size_t>(n));
    close(fds[0]);
    return bytes;
}

TEST(ZrOFStream, WritesConvertedTextWithoutTerminators) {
    EXPECT_EQ(Written([](ZrOFStream& out) {
                  out << "caf\xc3\xa9 " << 42 << " " << -7 << " " << 4000000000u << " " << -5L << " "
                      << 18000000000000000000UL;
                  out << ZrUniString();
                  out << ZrError(ZrUniString(" end"));
                  EXPECT_EQ(out.Flush(), 0);
              }),
              "caf\xc3\xa9 42 -7 4000000000 -5 18000000000000000000 end");
    EXPECT_EQ(Written([](ZrOFStream& out) {
                  out.WriteString(ZrUniString());
                  out << "";
              }),
              "")
        << "empty text writes no bytes";
    // A lone surrogate cannot be written strictly as UTF-8: the whole text is dropped, not cut.
    EXPECT_EQ(Written([](ZrOFStream& out) { out << ZrUniString(std::u16string_view(u"ok\xd800")) << "|"; }),
              "|");
}

// System error numbers are printed signed; the failed calls' traces are in socket_test.
TEST(ZrError, UnixErrorsReadAsNumberAndText) {
    EXPECT_EQ(ZrUnixError(-1).Reason().AsUtf8(), std::string("(-1) ") + std::strerror(-1));
}

} // namespace
