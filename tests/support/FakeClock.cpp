#include "FakeClock.h"

#include <QThread>

FakeClock::FakeClock(const QDateTime &start)
    : m_now(start)
{
}

QDateTime FakeClock::now() const
{
    QMutexLocker lock(&m_mutex);
    return m_now;
}

Clock::TimerId FakeClock::schedule(std::chrono::milliseconds delay, QObject *context, std::function<void()> action)
{
    QMutexLocker lock(&m_mutex);
    const TimerId id = m_nextId++;
    const qint64 due = m_now.toMSecsSinceEpoch() + delay.count();
    m_pending.emplace(std::make_pair(due, id), Pending{id, context, std::move(action)});
    return id;
}

void FakeClock::cancel(TimerId id)
{
    QMutexLocker lock(&m_mutex);
    for (auto it = m_pending.begin(); it != m_pending.end(); ++it) {
        if (it->second.id == id) {
            m_pending.erase(it);
            return;
        }
    }
}

void FakeClock::advance(std::chrono::milliseconds step)
{
    qint64 target;
    {
        QMutexLocker lock(&m_mutex);
        target = m_now.toMSecsSinceEpoch() + step.count();
    }
    for (;;) {
        Pending next;
        {
            QMutexLocker lock(&m_mutex);
            const auto it = m_pending.begin();
            if (it == m_pending.end() || it->first.first > target)
                break;
            m_now = QDateTime::fromMSecsSinceEpoch(it->first.first, Qt::UTC);
            next = std::move(it->second);
            m_pending.erase(it);
        }
        QObject *context = next.context;
        if (!context)
            continue;
        // Like a real timer, the action runs on its context's thread.
        if (context->thread() == QThread::currentThread())
            next.action();
        else
            QMetaObject::invokeMethod(context, next.action, Qt::BlockingQueuedConnection);
    }
    QMutexLocker lock(&m_mutex);
    m_now = QDateTime::fromMSecsSinceEpoch(target, Qt::UTC);
}

int FakeClock::pendingCount() const
{
    QMutexLocker lock(&m_mutex);
    return int(m_pending.size());
}
