#pragma once

#include "CalendarService.h"
#include "CalendarStore.h"
#include "FakeClock.h"
#include "Settings.h"

#include <QTemporaryDir>

#include <memory>

namespace calendarrig {

using namespace ondel;

// The desktop's calendar store, in memory. Answers at once, or when released (as the real one
// does, later, from its own connection).
class FakeStore final : public CalendarStore {
public:
    Availability availability = Availability::available;
    QList<CalendarStoreCalendar> calendars;
    QList<CalendarStoreEvent> events;
    bool deferred = false;  // answers wait for release()
    bool queued = false;    // answers come from the event loop
    bool twice = false;     // a faulty store: every answer comes twice
    int calendarReads = 0;
    int eventReads = 0;
    QDateTime start, end;
    QStringList ids;
    QList<QUrl> added;

    void readCalendars(CalendarsDone done) override
    {
        ++calendarReads;
        answer([this, done] { done(availability, calendars); });
    }
    void readEvents(const QDateTime &from, const QDateTime &to, const QStringList &calendarIds, EventsDone done) override
    {
        ++eventReads;
        start = from;
        end = to;
        ids = calendarIds;
        answer([this, done] {
            QList<CalendarStoreEvent> found;
            for (const CalendarStoreEvent &e : events) {
                if (ids.contains(e.calendarId) && e.endDate > start && e.startDate < end)
                    found.append(e);
            }
            done(found);
        });
    }
    void addCalendar(const QUrl &url, SourceDone done) override
    {
        added.append(url);
        calendars.append({"added-" + QString::number(added.size()), "Added", std::nullopt, {}, CalendarStoreCalendar::Type::subscription, true});
        done({});
    }
    void removeCalendar(const QString &id, SourceDone done) override
    {
        calendars.removeIf([&](const CalendarStoreCalendar &c) { return c.id == id; });
        done({});
    }
    void setOwnAddresses(const QStringList &) override {}

    void release()
    {
        const auto answers = std::exchange(m_held, {});
        for (const auto &a : answers)
            a();
    }
    qsizetype held() const { return m_held.size(); }

private:
    void answer(std::function<void()> a)
    {
        if (deferred)
            m_held.append(std::move(a));
        else if (queued)
            QMetaObject::invokeMethod(this, std::move(a), Qt::QueuedConnection);
        else {
            a();
            if (twice)
                a();
        }
    }
    QList<std::function<void()>> m_held;
};

inline CalendarStoreCalendar calendar(const QString &id, const QString &source, const QString &title,
                               CalendarStoreCalendar::Type type = CalendarStoreCalendar::Type::ordinary)
{
    return {id, title, source.isEmpty() ? std::nullopt : std::optional<QString>(source), QColor(Qt::blue), type, false};
}

inline CalendarStoreEvent storeEvent(const QString &id, const QString &calendarId, const QDateTime &start, const QString &title,
                         int people = 0)
{
    CalendarStoreEvent e;
    e.eventIdentifier = id;
    e.calendarId = calendarId;
    e.startDate = start;
    e.endDate = start.addSecs(1800);
    e.title = title;
    for (int i = 0; i < people; ++i)
        e.attendees.append({QStringLiteral("P%1").arg(i), {}, true, false, false});
    return e;
}

inline QStringList ids(const QList<EventInfo> &events)
{
    QStringList list;
    for (const EventInfo &e : events)
        list.append(e.id);
    return list;
}

// A service over a fake store, its settings in a file of its own, on a fake clock at 09:00 UTC
// on a Monday (10:00 in Berlin).
struct Rig {
    QTemporaryDir dir;
    Settings settings{dir.filePath("settings.json")};
    FakeClock clock;
    FakeStore store;
    std::unique_ptr<CalendarService> service;
    QDateTime today = QDateTime(QDate(2026, 3, 2), QTime(0, 0), Qt::LocalTime).toUTC();

    explicit Rig(bool consent = true)
    {
        settings.setCalendarConnected(consent);
        store.calendars = {calendar("work", "Work account", "Work"), calendar("home", "", "Home"),
                           calendar("holidays", "Web", "Holidays", CalendarStoreCalendar::Type::subscription)};
    }
    CalendarService &make(CalendarStore *over = nullptr, bool withStore = true)
    {
        service = std::make_unique<CalendarService>(withStore ? (over ? over : &store) : nullptr, settings, clock);
        return *service;
    }
};

}  // namespace calendarrig
