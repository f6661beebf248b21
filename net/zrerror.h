// Error objects that render themselves as one line of text. The foundation, network and RPC layers
// keep the last failure in one of these instead of throwing; callers print Reason().
#pragma once

#include "foundation/string/zrunistring.h"

class ZrError {
public:
    ZrError() = default;
    explicit ZrError(const ZrUniString& reason) : m_reason(reason) {}
    virtual ~ZrError() = default;
    virtual ZrUniString Reason() const { return m_reason; }

    void SetReason(const ZrUniString& reason) { m_reason = reason; }

protected:
    ZrUniString m_reason;
};

// A failed system call: "call(trace): (errno) strerror-text", or without a call just "(errno) text".
class ZrUnixError : public ZrError {
public:
    ZrUnixError() = default;
    explicit ZrUnixError(int error) : m_error(error) {}
    ZrUnixError(int error, const ZrUniString& call, const ZrUniString& trace)
        : m_error(error), m_call(call), m_trace(trace) {}
    ZrUniString Reason() const override;

    int Error() const { return m_error; }
    const ZrUniString& Call() const { return m_call; }
    const ZrUniString& Trace() const { return m_trace; }

private:
    int m_error = 0;
    ZrUniString m_call;  // the failed call's name, e.g. "setsockopt"
    ZrUniString m_trace; // its argument trace, e.g. ",SOL_SOCKET(1),SO_SNDBUF(7),(char*)(int 5),"
};

// A configuration key whose value could not be used.
class ZrConfigurationError : public ZrError {
public:
    ZrConfigurationError(const ZrUniString& key, const ZrUniString& list, const ZrUniString& reason)
        : ZrError(reason), m_key(key), m_list(list) {}
    ZrUniString Reason() const override;

private:
    ZrUniString m_key;
    ZrUniString m_list;
};
