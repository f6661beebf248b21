#include "framework/dispatch/qexecutordispatcher.h"

namespace dispatch {

void QExecutorDispatcher::DispatchIteration() {
    DispatcherBase::DispatchIteration();
    m_executor.Drain();
}

} // namespace dispatch
