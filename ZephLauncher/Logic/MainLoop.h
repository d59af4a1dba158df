#pragma once

#include "Support/IsoDate.h"

#include <chrono>
#include <cstdint>
#include <functional>

namespace zeph {

// The application's one event loop, on the main thread, where every object of the launcher lives.
// The desktop shell runs it on its toolkit; tests run a fake one on a clock of their own, so that
// every delay of the launcher can be checked to the millisecond.
class MainLoop {
public:
    using Task = std::function<void()>;
    using TimerID = std::uint64_t;
    using Milliseconds = std::chrono::milliseconds;

    virtual ~MainLoop() = default;

    // Runs `task` on the main thread, after what is queued already. Safe from any thread.
    virtual void post(Task task) = 0;
    // Runs `task` on the main thread once `delay` has passed, unless cancelled first. Main thread.
    virtual TimerID schedule(Milliseconds delay, Task task) = 0;
    // A timer that has run or was cancelled is no longer known; cancelling it does nothing.
    virtual void cancel(TimerID timer) = 0;
    // Runs blocking work (a script, a file) on another thread; it posts what it finds back.
    virtual void runInBackground(Task work) = 0;

    // A clock that only goes forward, for delays.
    virtual Milliseconds uptime() const = 0;
    // The moment, for what is stored and shown.
    virtual Date now() const = 0;
};

// One pending run at a time: scheduling again replaces the pending one, as a debounce does.
class DelayedTask {
public:
    explicit DelayedTask(MainLoop& loop)
        : m_loop(loop)
    {
    }
    ~DelayedTask() { cancel(); }
    DelayedTask(const DelayedTask&) = delete;
    DelayedTask& operator=(const DelayedTask&) = delete;

    void schedule(MainLoop::Milliseconds delay, MainLoop::Task task)
    {
        cancel();
        m_timer = m_loop.schedule(delay, [this, task = std::move(task)] {
            m_timer = 0;
            task();
        });
    }
    void cancel()
    {
        if (m_timer != 0)
            m_loop.cancel(m_timer);
        m_timer = 0;
    }
    bool isPending() const { return m_timer != 0; }

private:
    MainLoop& m_loop;
    MainLoop::TimerID m_timer = 0;
};

// Runs a task every `interval` until stopped or destroyed.
class RepeatingTask {
public:
    explicit RepeatingTask(MainLoop& loop)
        : m_delayed(loop)
    {
    }

    void start(MainLoop::Milliseconds interval, MainLoop::Task task)
    {
        m_interval = interval;
        m_task = std::move(task);
        next();
    }
    void stop() { m_delayed.cancel(); }
    bool isRunning() const { return m_delayed.isPending(); }

private:
    void next()
    {
        m_delayed.schedule(m_interval, [this] {
            next();
            m_task();
        });
    }

    DelayedTask m_delayed;
    MainLoop::Milliseconds m_interval {};
    MainLoop::Task m_task;
};

} // namespace zeph
