// util::IExecutor runs functions on the executor's terms; util::QExecutor only queues them, first in
// first out, and runs them when its owner drains the queue. Functions are copied in and owned until
// they have run (or the executor is destroyed). Exceptions from a function propagate out of Drain.
#pragma once

#include <functional>
#include <list>

namespace util {

class IExecutor {
public:
    virtual ~IExecutor() = default;
    virtual void Execute(const std::function<void()>& function) = 0;
};

class QExecutor : public IExecutor {
public:
    void Execute(const std::function<void()>& function) override { m_queue.push_back(function); }

    // Runs queued functions from the front. The next one is noted before the current one runs, so a
    // function queued by the last function of this drain waits for the next drain.
    void Drain();
    bool Empty() const { return m_queue.empty(); }

private:
    std::list<std::function<void()>> m_queue;
};

} // namespace util
