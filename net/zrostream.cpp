#include "net/zrostream.h"

#include <cstdio>

#include "net/zrerror.h"

ZrOFStream::ZrOFStream(int fd, unsigned int codeset, unsigned int options)
    : m_file(fdopen(fd, "w")), m_codeset(codeset), m_options(options) {}

ZrOFStream::~ZrOFStream() {
    // The descriptor belongs to whoever opened it (standard output and error outlive us): flush only.
    if (m_file)
        std::fflush(m_file);
}

int ZrOFStream::Flush() {
    return m_file ? std::fflush(m_file) : EOF;
}

void ZrOFStream::WriteString(const ZrUniString& text) {
    if (text.Length() == 0 || !m_file)
        return;
    ZrByteBuffer bytes = text.AsEncoding(m_codeset, m_options);
    if (bytes.Length())
        (void)std::fwrite(bytes.Data(), 1, bytes.Length(), m_file);
}

void ZrOSStream::WriteString(const ZrUniString& text) {
    if (text.Length())
        m_target.Append(text);
}

int ZrOBufferedStream::Flush() {
    if (m_pTarget)
        m_pTarget->WriteString(m_collected);
    return 0;
}

ZrOStream& operator<<(ZrOStream& out, const char* text) {
    out.WriteString(ZrUniString(text));
    return out;
}

namespace {
template <typename T> ZrOStream& WriteNumber(ZrOStream& out, const char* format, T value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    out.WriteString(ZrUniString(text));
    return out;
}
} // namespace

ZrOStream& operator<<(ZrOStream& out, int value) {
    return WriteNumber(out, "%d", value);
}
ZrOStream& operator<<(ZrOStream& out, unsigned int value) {
    return WriteNumber(out, "%u", value);
}
ZrOStream& operator<<(ZrOStream& out, long value) {
    return WriteNumber(out, "%ld", value);
}
ZrOStream& operator<<(ZrOStream& out, unsigned long value) {
    return WriteNumber(out, "%lu", value);
}

ZrOStream& operator<<(ZrOStream& out, const ZrUniString& text) {
    out.WriteString(text);
    return out;
}

ZrOStream& operator<<(ZrOStream& out, const ZrError& error) {
    out.WriteString(error.Reason());
    return out;
}
