#pragma once

#include "Clock.h"

#include <QDateTime>
#include <QObject>

#include <chrono>
#include <functional>

// A request's time-out: it expires once nothing has happened for `limit`. Activity only notes
// the time, so a stream of small pieces costs no timer work; one timer is pending at a time and,
// when it fires early, is armed again for the rest. Runs on `context`'s thread.
class IdleDeadline
{
public:
    IdleDeadline(Clock &clock, std::chrono::milliseconds limit, QObject *context, std::function<void()> expired);
    ~IdleDeadline();
    IdleDeadline(const IdleDeadline &) = delete;
    IdleDeadline &operator=(const IdleDeadline &) = delete;

    void start();
    void touch();
    void stop();

private:
    void arm(std::chrono::milliseconds delay);
    void check();

    Clock &m_clock;
    std::chrono::milliseconds m_limit;
    QObject *m_context;
    std::function<void()> m_expired;
    Clock::TimerId m_timer = 0;
    QDateTime m_lastActivity;
};
