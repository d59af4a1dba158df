#pragma once

#include "Logic/MainLoop.h"

#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace zeph {

// The main loop on a clock of the test's own: time moves only when the test says, and work meant
// for other threads waits until the test runs it, so every delay and every late answer is exact.
class FakeMainLoop final : public MainLoop {
public:
    void post(Task task) override
    {
        std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(task));
    }
    TimerID schedule(Milliseconds delay, Task task) override
    {
        auto id = ++m_lastTimer;
        m_timers.emplace(
            std::pair(m_uptime + std::max(delay, Milliseconds(0)), id), std::move(task));
        return id;
    }
    void cancel(TimerID timer) override
    {
        std::erase_if(m_timers, [&](const auto& entry) { return entry.first.second == timer; });
    }
    void runInBackground(Task work) override { m_background.push_back(std::move(work)); }
    Milliseconds uptime() const override { return m_uptime; }
    Date now() const override
    {
        return start + std::chrono::duration_cast<std::chrono::seconds>(m_uptime);
    }

    // Runs what was posted, and what that posts, until nothing is left.
    void runPosted()
    {
        for (;;) {
            Task task;
            {
                std::lock_guard lock(m_mutex);
                if (m_posted.empty())
                    return;
                task = std::move(m_posted.front());
                m_posted.pop_front();
            }
            task();
        }
    }
    // Moves the clock on, running each timer at its moment and what it posts right after it.
    void advance(Milliseconds duration)
    {
        auto target = m_uptime + duration;
        runPosted();
        while (!m_timers.empty() && m_timers.begin()->first.first <= target) {
            auto due = m_timers.begin();
            m_uptime = due->first.first;
            auto task = std::move(due->second);
            m_timers.erase(due);
            task();
            runPosted();
        }
        m_uptime = target;
    }
    // Runs the work meant for other threads here, oldest first, then what it posted.
    void runBackground()
    {
        while (!m_background.empty()) {
            auto work = std::move(m_background.front());
            m_background.pop_front();
            work();
        }
        runPosted();
    }
    std::size_t backgroundCount() const { return m_background.size(); }
    std::size_t timerCount() const { return m_timers.size(); }

    static inline const Date start = Date(std::chrono::seconds(1'795'000'000));

private:
    std::mutex m_mutex;
    std::deque<Task> m_posted;
    std::map<std::pair<Milliseconds, TimerID>, Task> m_timers;
    std::deque<Task> m_background;
    Milliseconds m_uptime {};
    TimerID m_lastTimer = 0;
};

} // namespace zeph
