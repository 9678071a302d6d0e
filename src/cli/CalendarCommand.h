#pragma once

#include <QObject>
#include <QStringList>
#include <QTextStream>

namespace ondel {
class CalendarService;
}

// `calendars …` and `events`: what the app's calendar settings and coming-up list show, over the
// same settings. Every command waits for the service's read of the store, so it always answers
// from a whole resync.
class CalendarCommand : public QObject
{
    Q_OBJECT

public:
    CalendarCommand(ondel::CalendarService &service, QTextStream &out, QTextStream &err, QObject *parent = nullptr);

    // Both return Pending (-1) and end with finished(), or a usage error (2) at once.
    int calendars(const QStringList &args);
    int events(const QStringList &args);

    static QString usage();

Q_SIGNALS:
    void finished(int exitCode);

private:
    // Runs `then` once the service is idle, unless the calendars cannot be read (then fails).
    void whenReadable(std::function<int()> then);
    void afterResync(std::function<int()> then);
    int listCalendars(bool json);
    int listEvents(bool json);
    int fail(const QString &message);
    // The calendar with this id; fails (and says so) when there is none.
    bool knownCalendar(const QString &id);
    int usageError(const QString &message);

    ondel::CalendarService &m_service;
    QTextStream &m_out;
    QTextStream &m_err;
};
