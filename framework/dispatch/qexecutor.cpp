#include "framework/dispatch/qexecutor.h"

#include <utility>

namespace util {

void QExecutor::Drain() {
    while (!m_queue.empty()) {
        std::function<void()> function = std::move(m_queue.front());
        m_queue.pop_front();
        const bool more = !m_queue.empty();
        function();
        if (!more)
            break;
    }
}

} // namespace util
