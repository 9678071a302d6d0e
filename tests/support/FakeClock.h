#pragma once

#include "Clock.h"

#include <QMutex>
#include <QPointer>

#include <map>

// Virtual time for tests: nothing fires until advance() moves the clock past it.
class FakeClock final : public Clock
{
public:
    explicit FakeClock(const QDateTime &start = QDateTime(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC));

    QDateTime now() const override;
    TimerId schedule(std::chrono::milliseconds delay, QObject *context, std::function<void()> action) override;
    void cancel(TimerId id) override;

    // Moves time forward, running every action that falls due, in order of due time, each on
    // its context's thread (waiting for it there). Actions may schedule more; those run too if
    // they fall within the step.
    void advance(std::chrono::milliseconds step);
    int pendingCount() const;

private:
    struct Pending
    {
        TimerId id;
        QPointer<QObject> context;
        std::function<void()> action;
    };

    mutable QMutex m_mutex;
    QDateTime m_now;
    TimerId m_nextId = 1;
    // Keyed by (due time, id), so that equal due times run in scheduling order.
    std::map<std::pair<qint64, TimerId>, Pending> m_pending;
};
