#include "Logic/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace zeph {

struct SerialQueue::State {
    std::mutex mutex;
    std::condition_variable idle;
    std::deque<MainLoop::Task> waiting;
    bool isScheduled = false; // A drain is on its way to another thread.
    bool isRunning = false; // A piece is running, on whichever thread.

    // Runs the waiting pieces one after the other, whoever else is draining too.
    void run(std::unique_lock<std::mutex>& lock)
    {
        for (;;) {
            idle.wait(lock, [&] { return !isRunning; });
            if (waiting.empty())
                return;
            auto work = std::move(waiting.front());
            waiting.pop_front();
            isRunning = true;
            lock.unlock();
            work();
            lock.lock();
            isRunning = false;
            idle.notify_all();
        }
    }
};

SerialQueue::SerialQueue(MainLoop& loop)
    : m_loop(loop)
    , m_state(std::make_shared<State>())
{
}

SerialQueue::~SerialQueue()
{
    finish();
}

void SerialQueue::add(MainLoop::Task work)
{
    std::lock_guard lock(m_state->mutex);
    m_state->waiting.push_back(std::move(work));
    if (m_state->isScheduled)
        return;
    m_state->isScheduled = true;
    // The drain holds the state, not the queue: it may start after the queue is gone.
    m_loop.runInBackground([state = m_state] {
        std::unique_lock drainLock(state->mutex);
        state->isScheduled = false;
        state->run(drainLock);
    });
}

void SerialQueue::finish()
{
    std::unique_lock lock(m_state->mutex);
    m_state->run(lock);
}

} // namespace zeph
