#include "framework/waitable/waitsetbase.h"

#include "framework/exception/exception.h"

namespace waitable {

void WaitSetBase::Add(_KivPosixWait* waitObject, KivWaitSetEntry* entry) {
    const KivStatus status = KivWaitSetAdd(&m_set, waitObject, entry);
    if (status != KIV_OK)
        throw exception::RCException(status);
}

} // namespace waitable
