// waitable::WaitSetBase owns one runtime wait set and empties it on destruction; the entries stay
// owned by whoever added them. Adding an object of unknown kind throws exception::RCException(-7).
#pragma once

#include "framework/kiv/kivwaitset.h"

#include <cstdint>

namespace waitable {

class WaitSetBase {
public:
    // Neither fails for a set of our own.
    WaitSetBase() { (void)KivWaitSetInit(&m_set); }
    ~WaitSetBase() { (void)KivWaitSetTerminate(&m_set); }
    WaitSetBase(const WaitSetBase&) = delete;
    WaitSetBase& operator=(const WaitSetBase&) = delete;

    void Add(_KivPosixWait* waitObject, KivWaitSetEntry* entry);
    // An entry that is in no pool is refused; removing it is then nothing to report.
    void Remove(KivWaitSetEntry* entry) { (void)KivWaitSetRemove(&m_set, entry); }
    uint64_t Size() const { return KivWaitSetGetSize(&m_set); }
    // Blocking wait into `ready` (capacity *count, the number found stored back); the runtime status.
    KivStatus Wait(KivWaitSetEntry** ready, uint64_t* count) {
        return KivWaitSetWait(&m_set, ready, count, 1);
    }

    KivWaitSet& Set() { return m_set; }

private:
    KivWaitSet m_set;
};

} // namespace waitable
