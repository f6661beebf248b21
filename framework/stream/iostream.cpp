#include "framework/stream/iostream.h"

#include "framework/kiv/kivassert.h"

namespace stream {

IInputStream& IOStream::Input() {
    KIV_ASSERT(m_pInput, "framework/stream/iostream");
    return *m_pInput;
}

IOutputStream& IOStream::Output() {
    KIV_ASSERT(m_pOutput, "framework/stream/iostream");
    return *m_pOutput;
}

} // namespace stream
