#include "framework/dispatch/dispatcherbase.h"

#include "framework/kiv/kivassert.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace dispatch {

namespace {

thread_local DispatcherBase* t_current = nullptr;

// A queued call of a registration. It holds one reference; a call that is dropped without running
// (its executor went away) gives the reference back.
class PendingCall {
public:
    explicit PendingCall(DispatcherBase::Entry* entry) : m_pEntry(entry) {}
    ~PendingCall() {
        if (m_pEntry)
            m_pEntry->Release();
    }
    PendingCall(const PendingCall&) = delete;
    PendingCall& operator=(const PendingCall&) = delete;

    void Run() {
        DispatcherBase::Entry* entry = std::exchange(m_pEntry, nullptr);
        try {
            (*entry)();
        } catch (...) {
            // The callback threw before the reference was given back.
            m_pEntry = entry;
            throw;
        }
    }

private:
    DispatcherBase::Entry* m_pEntry;
};

} // namespace

void DispatcherBase::Entry::operator()() {
    if (refCount > 1)
        callback();
    OnExecuted();
}

void DispatcherBase::Entry::Release() {
    if (--refCount <= 0)
        delete this;
}

void DispatcherBase::Entry::OnExecuted() {
    if (--refCount <= 0) {
        delete this;
        return;
    }
    if (oneShot)
        dispatcher->Remove(this);
    else
        (void)KivWaitSetEntryResume(this); // fails only for a null entry
}

DispatcherBase::~DispatcherBase() {
    RemoveAll();
}

DispatcherBase* DispatcherBase::Get() {
    return t_current;
}

DispatcherBase::Entry* DispatcherBase::Add(WaitAction action) {
    auto* entry = new Entry;
    entry->dispatcher = this;
    entry->callback = std::move(action.callback);
    entry->oneShot = action.oneShot;
    m_entries.push_back(entry);
    entry->node = std::prev(m_entries.end());
    try {
        m_waitSet.Add(action.waitObject, entry); // sets entry->waitObject
    } catch (...) {
        m_entries.erase(entry->node);
        delete entry;
        throw;
    }
    // A ready registration stays suspended until its callback has run.
    (void)KivWaitSetEntrySetSuspendOnReady(entry, 1); // cannot fail for a live entry
    return entry;
}

DispatcherBase::Entry* DispatcherBase::AddWaitable(waitable::IWaitable& waitable, Callback callback) {
    return Add(WaitAction{waitable.GetWaitObject(), std::move(callback), 0});
}

// Not called by the agent; registers a bare runtime wait object; the agent registers waitables.
DispatcherBase::Entry* DispatcherBase::AddWait(_KivPosixWait* waitObject, Callback callback) {
    return Add(WaitAction{waitObject, std::move(callback), 0});
}

void DispatcherBase::RemoveWaitable(waitable::IWaitable& waitable) {
    RemoveWait(waitable.GetWaitObject());
}

void DispatcherBase::RemoveWait(_KivPosixWait* waitObject) {
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        Entry* entry = *it++;
        if (entry->waitObject == waitObject)
            Remove(entry);
    }
}

void DispatcherBase::Remove(Entry* pEntry) {
    KIV_ASSERT(pEntry, "dispatcherbase");
    m_waitSet.Remove(pEntry);
    // Order of the rest of the ready vector changes; deliberate, it is cheap.
    auto ready = std::find(m_ready.begin(), m_ready.end(), static_cast<KivWaitSetEntry*>(pEntry));
    if (ready != m_ready.end()) {
        *ready = m_ready.back();
        m_ready.pop_back();
    }
    static_cast<KivWaitSetEntry&>(*pEntry) = KivWaitSetEntry{};
    m_entries.erase(pEntry->node);
    pEntry->node = m_entries.end();
    if (--pEntry->refCount < 1)
        delete pEntry;
}

void DispatcherBase::RemoveAll() {
    while (!m_entries.empty())
        Remove(m_entries.front());
}

void DispatcherBase::Init() {
    if (m_init)
        m_init();
}

void DispatcherBase::Terminate() {
    if (m_terminate)
        m_terminate();
}

void DispatcherBase::DispatchIteration() {
    const uint64_t size = m_waitSet.Size();
    if (size == 0 && m_ready.empty()) {
        Exit();
        return;
    }
    const size_t pending = m_ready.size();
    m_ready.resize(pending + size);
    uint64_t found = size;
    m_waitSet.Wait(m_ready.data() + pending, &found);
    m_ready.resize(pending + found);
    if (m_ready.empty()) {
        // A wait that yields nothing (failed, interrupted, or nothing could ever be ready) ends the run.
        Exit();
        return;
    }
    while (!m_ready.empty()) {
        KivWaitSetEntry* ready = m_ready.front();
        m_ready.erase(m_ready.begin());
        if (ready)
            Execute(static_cast<Entry*>(ready));
    }
}

void DispatcherBase::Execute(Entry* entry) {
    ++entry->refCount;
    auto call = std::make_shared<PendingCall>(entry);
    GetExecutor().Execute([call] { call->Run(); });
}

void DispatcherBase::Dispatch() {
    RunInContext([this](uint32_t level) {
        while (m_depth == level)
            DispatchIteration();
    });
}

void DispatcherBase::DispatchOnce() {
    RunInContext([this](uint32_t level) {
        if (m_depth == level)
            DispatchIteration();
    });
}

void DispatcherBase::Exit() {
    if (m_depth > 0)
        --m_depth;
}

void DispatcherBase::RunInContext(const std::function<void(uint32_t level)>& fn) {
    struct Restore {
        DispatcherBase* saved;
        ~Restore() { t_current = saved; }
    } restore{t_current};
    t_current = this;
    const uint32_t level = ++m_depth;
    if (m_depth == 1)
        Init();
    OnStartInstance();
    fn(level);
    OnStopInstance();
    if (m_depth == level)
        --m_depth;
    if (m_depth == 0)
        Terminate();
}

} // namespace dispatch
