#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace zeph {

// With ZEPH_LAUNCHER_TRACE set, how long a piece of the application's work took goes to standard
// error when the timer goes: "Zeph Launcher: <what> took 12.3 µs (10.1 µs on the CPU)".
class TraceTimer {
public:
    explicit TraceTimer(const char* what)
        : m_what(isOn() ? what : nullptr)
        , m_start(
              m_what ? std::chrono::steady_clock::now() : std::chrono::steady_clock::time_point {})
        , m_cpuStart(m_what ? threadCPUMicroseconds() : 0)
    {
    }
    // The time on this thread's CPU beside the time that passed: the difference is time spent
    // waiting (for another program, or for a core while other processes ran).
    ~TraceTimer()
    {
        if (!m_what)
            return;
        std::chrono::duration<double, std::micro> elapsed
            = std::chrono::steady_clock::now() - m_start;
        std::fprintf(stderr, "Zeph Launcher: %s took %.1f µs (%.1f µs on the CPU)\n", m_what,
            elapsed.count(), threadCPUMicroseconds() - m_cpuStart);
    }
    TraceTimer(const TraceTimer&) = delete;
    TraceTimer& operator=(const TraceTimer&) = delete;

    static bool isOn()
    {
        static const bool on = std::getenv("ZEPH_LAUNCHER_TRACE") != nullptr;
        return on;
    }

    // The user's last key press, so that work it sets off later on the main loop (an expansion's
    // paste) is timed from the key: "<what> took … µs".
    static void markKeyPress()
    {
        if (isOn())
            lastKeyPress() = std::chrono::steady_clock::now();
    }
    static void reportSinceKeyPress(const char* what)
    {
        if (!isOn())
            return;
        std::chrono::duration<double, std::micro> elapsed
            = std::chrono::steady_clock::now() - lastKeyPress();
        std::fprintf(stderr, "Zeph Launcher: %s took %.1f µs\n", what, elapsed.count());
    }

private:
    static double threadCPUMicroseconds()
    {
        timespec now {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
    }
    static std::chrono::steady_clock::time_point& lastKeyPress()
    {
        static std::chrono::steady_clock::time_point time;
        return time;
    }

    const char* m_what;
    std::chrono::steady_clock::time_point m_start;
    double m_cpuStart;
};

} // namespace zeph
