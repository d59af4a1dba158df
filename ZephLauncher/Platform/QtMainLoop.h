#pragma once

#include "Logic/MainLoop.h"

#include <unordered_map>

#include <QElapsedTimer>
#include <QObject>

class QTimer;

namespace zeph {

// The launcher's main loop on Qt's event loop: posted tasks are queued calls, timers are single
// shots, background work goes to the global thread pool.
class QtMainLoop final : public MainLoop {
public:
    QtMainLoop();
    ~QtMainLoop() override;

    void post(Task task) override;
    TimerID schedule(Milliseconds delay, Task task) override;
    void cancel(TimerID timer) override;
    void runInBackground(Task work) override;
    Milliseconds uptime() const override;
    Date now() const override;

private:
    QObject m_context;
    QElapsedTimer m_clock;
    std::unordered_map<TimerID, QTimer*> m_timers;
    TimerID m_nextTimer = 1;
};

} // namespace zeph
