// The process layer's wait objects: common::WaitObject (a signalled flag: Signalled() is the
// notification that it fired, Reset() clears it), common::WaitSet (a wait object that waits on
// others), and platform::FdWait, a descriptor wait that is registered with the dispatcher only
// while it is active. An FdWait takes itself out of its wait set when destroyed.
#pragma once

#include "framework/kiv/kivwait.h"
#include "framework/waitable/iwaitable.h"

#include <cstdint>

namespace common {

class WaitObject {
public:
    virtual ~WaitObject() = default;
    virtual void Reset() { m_signalled = 0; }
    virtual void Signalled() { m_signalled = 1; }
    bool IsSignalled() const { return m_signalled != 0; }

private:
    unsigned char m_signalled = 0;
};

class WaitSet : public WaitObject {
public:
    virtual void Wait() = 0;
    virtual void Add(WaitObject& object) = 0;
    virtual void Remove(WaitObject& object) = 0;
};

} // namespace common

namespace platform {

class FdWait;

class IFdWaitNotify {
public:
    virtual ~IFdWaitNotify() = default;
    virtual void OnFdActive(FdWait* wait) = 0;
    virtual void OnFdInactive(FdWait* wait) = 0;
};

class FdWait : public common::WaitObject, public waitable::IWaitable {
public:
    // kind: one of the runtime's descriptor kinds (readable by default).
    explicit FdWait(int32_t fd, uint32_t kind = KIV_WAIT_FD_READ);
    ~FdWait() override;
    FdWait(const FdWait&) = delete;
    FdWait& operator=(const FdWait&) = delete;

    int32_t Descriptor() const { return m_wait.fd; }
    bool IsActive() const { return m_active; }
    // Registers with (or withdraws from) the dispatcher through the wait set it was added to.
    void SetActive(bool active);
    _KivPosixWait* GetWaitObject() override { return &m_wait; }

    // The dispatcher callback: the descriptor is ready. The base only marks the object signalled.
    virtual void OnReady() { Signalled(); }

    // Kept by the wait set that records this object.
    void Attach(common::WaitSet* set, IFdWaitNotify* notify);
    void Detach();

private:
    KivPosixFdWait m_wait;
    bool m_active = false;
    common::WaitSet* m_pSet = nullptr;
    IFdWaitNotify* m_pNotify = nullptr;
};

} // namespace platform
