#include "framework/waitable/event.h"

#include "framework/exception/exception.h"

namespace waitable {

namespace {
void Check(KivStatus status) {
    if (status != KIV_OK)
        throw exception::RCException(status);
}
} // namespace

SafeEvent::SafeEvent() {
    Check(KivSafeEventInit(&m_event));
}

SafeEvent::~SafeEvent() {
    (void)KivEventTerminate(&m_event); // a safe event always terminates; nothing to report here
}

void SafeEvent::Set() {
    Check(KivEventSet(&m_event));
}

void SafeEvent::Unset() {
    Check(KivEventUnset(&m_event));
}

} // namespace waitable
