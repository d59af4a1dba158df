#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace zeph {

// With ZEPH_LAUNCHER_TRACE set, how long a piece of the application's work took goes to standard
// error when the timer goes: "Zeph Launcher: <what> took 12.3 µs".
class TraceTimer {
public:
    explicit TraceTimer(const char* what)
        : m_what(isOn() ? what : nullptr)
        , m_start(
              m_what ? std::chrono::steady_clock::now() : std::chrono::steady_clock::time_point {})
    {
    }
    ~TraceTimer()
    {
        if (!m_what)
            return;
        std::chrono::duration<double, std::micro> elapsed
            = std::chrono::steady_clock::now() - m_start;
        std::fprintf(stderr, "Zeph Launcher: %s took %.1f µs\n", m_what, elapsed.count());
    }
    TraceTimer(const TraceTimer&) = delete;
    TraceTimer& operator=(const TraceTimer&) = delete;

    static bool isOn()
    {
        static const bool on = std::getenv("ZEPH_LAUNCHER_TRACE") != nullptr;
        return on;
    }

private:
    const char* m_what;
    std::chrono::steady_clock::time_point m_start;
};

} // namespace zeph
