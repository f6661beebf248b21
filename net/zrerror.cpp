#include "net/zrerror.h"

#include <cstdio>
#include <cstring>

ZrUniString ZrUnixError::Reason() const {
    ZrUniString text;
    if (m_call.Length()) {
        text.Append(m_call).Append(u'(').Append(m_trace);
        text.Append(ZrUniString("): "));
    }
    char number[24];
    std::snprintf(number, sizeof number, "(%d) ", m_error);
    text.Append(ZrUniString(number));
    text.Append(ZrUniString(std::strerror(m_error)));
    return text;
}

ZrUniString ZrConfigurationError::Reason() const {
    return ZrUniString("Key ") + m_key + ZrUniString(" gave list ") + m_list + ZrUniString(": Failure: ") +
           ZrError::Reason();
}
