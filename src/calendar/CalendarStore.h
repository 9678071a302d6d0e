#pragma once

#include <QColor>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

namespace ondel {

// What a platform's calendar store hands over, before classification. The service turns these
// into EventInfo values; the store knows nothing of kinds, visibility settings or Google.

struct CalendarStoreAttendee {
    QString name;              // the display name, empty when none
    QUrl url;                  // usually "mailto:…"
    bool isPerson = true;      // rooms, resources and groups count as participants only
    bool isCurrentUser = false;
    bool declined = false;
};

struct CalendarStoreEvent {
    QString eventIdentifier;   // stable across reads, shared by every occurrence, unique across calendars
    QString title;
    QDateTime startDate;       // UTC
    QDateTime endDate;         // UTC
    bool isAllDay = false;
    QList<CalendarStoreAttendee> attendees;
    std::optional<QString> organizer;
    QString calendarId;
    std::optional<QString> location;
    std::optional<QString> notes;
    QUrl url;
};

struct CalendarStoreCalendar {
    enum class Type { ordinary, subscription, birthday };
    QString id;
    QString title;
    std::optional<QString> sourceTitle;
    std::optional<QColor> color;
    Type type = Type::ordinary;
    bool addedByOndel = false;  // only these can be removed from Ondel
};

// The platform's calendar store (Evolution Data Server on Linux). Every call returns at once;
// answers arrive on the thread that made the store (the main thread) through the callbacks.
class CalendarStore : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Whether a calendar service answers at all.
    enum class Availability { unknown, unavailable, available };

    using CalendarsDone = std::function<void(Availability, QList<CalendarStoreCalendar>)>;
    using EventsDone = std::function<void(QList<CalendarStoreEvent>)>;
    using SourceDone = std::function<void(QString error)>;  // empty error: done

    // Reads the enabled calendars; connects to the service on first use.
    virtual void readCalendars(CalendarsDone done) = 0;
    // Occurrences of [start, end) on the given calendars, recurring events expanded.
    virtual void readEvents(const QDateTime &start, const QDateTime &end,
                            const QStringList &calendarIds, EventsDone done) = 0;
    // Adds an https/webcal calendar link or a local .ics file as a calendar of the store.
    virtual void addCalendar(const QUrl &linkOrFile, SourceDone done) = 0;
    // Removes a calendar that Ondel added.
    virtual void removeCalendar(const QString &calendarId, SourceDone done) = 0;
    // Addresses that are the user's besides those the store knows (the signed-in account's).
    virtual void setOwnAddresses(const QStringList &addresses) = 0;

Q_SIGNALS:
    // Something in the store changed (a calendar, a source, an event on a watched calendar).
    void changed();
};

}  // namespace ondel
