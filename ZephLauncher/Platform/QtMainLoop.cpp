#include "Platform/QtMainLoop.h"

#include <QThreadPool>
#include <QTimer>

namespace zeph {

QtMainLoop::QtMainLoop()
{
    m_clock.start();
}

QtMainLoop::~QtMainLoop()
{
    for (auto& [id, timer] : m_timers)
        delete timer;
}

void QtMainLoop::post(Task task)
{
    QMetaObject::invokeMethod(&m_context, std::move(task), Qt::QueuedConnection);
}

MainLoop::TimerID QtMainLoop::schedule(Milliseconds delay, Task task)
{
    auto id = m_nextTimer++;
    auto* timer = new QTimer(&m_context);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, &m_context, [this, id, task = std::move(task)] {
        // The task may schedule or cancel timers, this one included, so it runs once the timer is
        // forgotten; the timer itself goes once control is back in the event loop.
        if (auto found = m_timers.find(id); found != m_timers.end()) {
            found->second->deleteLater();
            m_timers.erase(found);
        }
        task();
    });
    m_timers.emplace(id, timer);
    timer->start(std::max<Milliseconds::rep>(delay.count(), 0));
    return id;
}

void QtMainLoop::cancel(TimerID timer)
{
    auto found = m_timers.find(timer);
    if (found == m_timers.end())
        return;
    found->second->stop();
    found->second->deleteLater();
    m_timers.erase(found);
}

void QtMainLoop::runInBackground(Task work)
{
    QThreadPool::globalInstance()->start(std::move(work));
}

MainLoop::Milliseconds QtMainLoop::uptime() const
{
    return Milliseconds(m_clock.elapsed());
}

Date QtMainLoop::now() const
{
    return currentDate();
}

} // namespace zeph
