// dispatch::QExecutorDispatcher: the dispatcher whose callbacks are queued on its own util::QExecutor
// during an iteration and run after it, in the order their registrations were found ready.
#pragma once

#include "framework/dispatch/dispatcherbase.h"
#include "framework/dispatch/qexecutor.h"

namespace dispatch {

class QExecutorDispatcher : public DispatcherBase {
public:
    ~QExecutorDispatcher() override = default;
    util::IExecutor& GetExecutor() override { return m_executor; }
    // Runs what earlier runs left queued.
    void OnStartInstance() override { m_executor.Drain(); }
    void DispatchIteration() override;

private:
    util::QExecutor m_executor;
};

} // namespace dispatch
