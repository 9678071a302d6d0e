#pragma once

#include <QDateTime>
#include <QObject>

#include <chrono>
#include <functional>

// Where the program asks for "now" and for delayed work, so that tests can drive time by hand.
class Clock
{
public:
    using TimerId = quint64;

    virtual ~Clock() = default;

    virtual QDateTime now() const = 0;

    // Runs `action` on `context`'s thread once `delay` has passed, unless cancelled or `context`
    // is gone by then. Never returns 0.
    virtual TimerId schedule(std::chrono::milliseconds delay, QObject *context, std::function<void()> action) = 0;
    virtual void cancel(TimerId id) = 0;

    // The wall clock and Qt's timers.
    static Clock &system();
};

// Seconds between two instants, as a double.
inline double secondsBetween(const QDateTime &from, const QDateTime &to)
{
    return double(from.msecsTo(to)) / 1000.0;
}
