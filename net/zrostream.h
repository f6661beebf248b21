// Text sinks for messages: ZrOFStream writes to a file descriptor through stdio in a chosen codeset,
// ZrOSStream appends to a string, ZrOBufferedStream collects text and hands it on at Flush.
// Writes report nothing on purpose: these streams are the last resort for messages.
#pragma once

#include <cstdio>

#include "foundation/string/zrunistring.h"

class ZrError;

class ZrOStream {
public:
    virtual ~ZrOStream() = default;
    virtual int Flush() = 0;
    virtual void Truncate() = 0;
    virtual void WriteString(const ZrUniString& text) = 0;
};

class ZrOFStream : public ZrOStream {
public:
    // Opens a stdio stream with fdopen(fd, "w"); text is converted to `codeset` with `options`.
    ZrOFStream(int fd, unsigned int codeset, unsigned int options);
    ~ZrOFStream() override;
    ZrOFStream(const ZrOFStream&) = delete;
    ZrOFStream& operator=(const ZrOFStream&) = delete;

    int Flush() override;
    // Nothing to empty on a file stream.
    void Truncate() override {}
    void WriteString(const ZrUniString& text) override;

    FILE* File() const { return m_file; }

private:
    FILE* m_file;
    unsigned int m_codeset;
    unsigned int m_options;
};

class ZrOSStream : public ZrOStream {
public:
    explicit ZrOSStream(ZrUniString& target) : m_target(target) {}
    int Flush() override { return 0; }
    void Truncate() override { m_target.Truncate(0); }
    void WriteString(const ZrUniString& text) override;

protected:
    ZrUniString& m_target;
};

class ZrOBufferedStream : public ZrOSStream {
public:
    // Text collects here until Flush passes it to `target` (when there is one).
    explicit ZrOBufferedStream(ZrOStream* target = nullptr) : ZrOSStream(m_collected), m_pTarget(target) {}
    int Flush() override;
    const ZrUniString& Collected() const { return m_collected; }

private:
    ZrUniString m_collected;
    ZrOStream* m_pTarget;
};

ZrOStream& operator<<(ZrOStream& out, const char* text);
ZrOStream& operator<<(ZrOStream& out, int value);
ZrOStream& operator<<(ZrOStream& out, unsigned int value);
ZrOStream& operator<<(ZrOStream& out, long value);
ZrOStream& operator<<(ZrOStream& out, unsigned long value);
ZrOStream& operator<<(ZrOStream& out, const ZrUniString& text);
ZrOStream& operator<<(ZrOStream& out, const ZrError& error);
