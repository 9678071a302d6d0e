#pragma once

#include "Clock.h"

#include <QHash>
#include <QMutex>
#include <QPointer>
#include <QTimer>

class SystemClock final : public Clock
{
public:
    QDateTime now() const override;
    TimerId schedule(std::chrono::milliseconds delay, QObject *context, std::function<void()> action) override;
    void cancel(TimerId id) override;

private:
    QMutex m_mutex;
    struct Entry
    {
        QPointer<QTimer> timer; // null until armed on the context's thread
        bool cancelled = false;
    };
    QHash<TimerId, Entry> m_timers;
    TimerId m_nextId = 1;
};
