#include "SystemClock.h"

#include <QMetaObject>

Clock &Clock::system()
{
    static SystemClock clock;
    return clock;
}

QDateTime SystemClock::now() const
{
    return QDateTime::currentDateTimeUtc();
}

Clock::TimerId SystemClock::schedule(std::chrono::milliseconds delay, QObject *context, std::function<void()> action)
{
    TimerId id;
    {
        QMutexLocker lock(&m_mutex);
        id = m_nextId++;
        m_timers.insert(id, Entry{});
    }
    // A QTimer must live on the context's thread, so it is made there.
    QMetaObject::invokeMethod(context, [this, id, delay, context, action = std::move(action)]() mutable {
        QMutexLocker lock(&m_mutex);
        const auto it = m_timers.find(id);
        if (it == m_timers.end() || it->cancelled) {
            m_timers.remove(id);
            return;
        }
        auto *timer = new QTimer(context);
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, context, [this, id, timer, action = std::move(action)] {
            {
                QMutexLocker lock(&m_mutex);
                m_timers.remove(id);
            }
            timer->deleteLater();
            action();
        });
        it->timer = timer;
        timer->start(delay);
    });
    return id;
}

void SystemClock::cancel(TimerId id)
{
    QMutexLocker lock(&m_mutex);
    const auto it = m_timers.find(id);
    if (it == m_timers.end())
        return; // fired already, or never existed
    if (QTimer *timer = it->timer) {
        QMetaObject::invokeMethod(timer, [timer] {
            timer->stop();
            timer->deleteLater();
        });
        m_timers.erase(it);
    } else {
        it->cancelled = true; // arming will drop it
    }
}
