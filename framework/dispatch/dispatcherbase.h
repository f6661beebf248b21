// dispatch::DispatcherBase: registrations of wait objects with callbacks, one blocking wait per
// iteration, ready callbacks handed to an executor. Registrations are owned by the dispatcher and
// reference counted while a call is queued. Removing no registration aborts ("pEntry"); a runtime
// failure when adding throws exception::RCException with its status.
#pragma once

#include "framework/dispatch/qexecutor.h"
#include "framework/kiv/kivwaitset.h"
#include "framework/waitable/iwaitable.h"
#include "framework/waitable/waitsetbase.h"

#include <cstdint>
#include <functional>
#include <list>
#include <vector>

namespace dispatch {

class DispatcherBase {
public:
    using Callback = std::function<void()>;

    // One registration. It begins with its wait set entry, so a ready entry is the registration; the
    // entry's waitObject names what the registration waits on.
    struct Entry : KivWaitSetEntry {
        DispatcherBase* dispatcher = nullptr;
        Callback callback;
        int32_t refCount = 1;
        KivBool oneShot = 0;
        std::list<Entry*>::iterator node;

        // Runs the callback unless the registration was removed while the call was queued.
        void operator()();
        // Drops the queued call's reference; the last reference frees the registration.
        void Release();

    private:
        void OnExecuted();
    };

    struct WaitAction {
        _KivPosixWait* waitObject = nullptr;
        Callback callback;
        KivBool oneShot = 0;
    };

    DispatcherBase() = default;
    virtual ~DispatcherBase();
    DispatcherBase(const DispatcherBase&) = delete;
    DispatcherBase& operator=(const DispatcherBase&) = delete;

    virtual util::IExecutor& GetExecutor() = 0;
    virtual void OnStartInstance() {}
    virtual void OnStopInstance() {}
    virtual void DispatchIteration();

    // The dispatcher whose run is active on this thread, or null.
    static DispatcherBase* Get();

    Entry* Add(WaitAction action);
    Entry* AddWaitable(waitable::IWaitable& waitable, Callback callback);
    Entry* AddWait(_KivPosixWait* waitObject, Callback callback);
    // Remove every registration of the object; nothing happens when there is none.
    void RemoveWaitable(waitable::IWaitable& waitable);
    void RemoveWait(_KivPosixWait* waitObject);
    void Remove(Entry* pEntry);
    void RemoveAll();
    uint64_t Count() const { return m_entries.size(); }

    void SetInit(Callback init) { m_init = std::move(init); }
    void UnsetInit() { m_init = nullptr; }
    void SetTerminate(Callback terminate) { m_terminate = std::move(terminate); }
    void UnsetTerminate() { m_terminate = nullptr; }
    void Init();
    void Terminate();

    // Iterates until Exit() ends this run (or the wait set runs dry).
    void Dispatch();
    // One iteration, unless an Exit() already ended this level.
    void DispatchOnce();
    // Ends the innermost active run.
    void Exit();
    // Makes this dispatcher current around fn(level); the first level runs Init and Terminate.
    void RunInContext(const std::function<void(uint32_t level)>& fn);
    uint32_t Depth() const { return m_depth; }

protected:
    void Execute(Entry* entry);

private:
    uint32_t m_depth = 0;
    Callback m_init;
    Callback m_terminate;
    waitable::WaitSetBase m_waitSet;
    std::vector<KivWaitSetEntry*> m_ready;
    std::list<Entry*> m_entries;
};

} // namespace dispatch
