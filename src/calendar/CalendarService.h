#pragma once

#include "CalendarInfo.h"
#include "CalendarStore.h"
#include "EventInfo.h"

#include "Clock.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class Settings;

namespace ondel {

// What is on the user's calendars this week: the desktop's calendars read through the
// platform's store, with the Google entries merged in, every entry classified. Main thread only
// (a very large answer of the store is mirrored on a worker).
//
// The store answers through callbacks, so a resync runs in steps; what it read is published in
// one update at its end (calendars, then events and skipped events, then one eventsChanged),
// never half. A resync asked for while one runs becomes one more after it.
class CalendarService : public QObject {
    Q_OBJECT
    Q_PROPERTY(Authorization authorization READ authorization NOTIFY authorizationChanged)
    Q_PROPERTY(int alwaysRecordVersion READ alwaysRecordVersion NOTIFY alwaysRecordVersionChanged)

public:
    using EventInfo = ondel::EventInfo;
    using CalendarInfo = ondel::CalendarInfo;

    enum class Authorization {
        notRequested,  // the user has not connected their calendars yet
        denied,        // connected, but no calendar service answers
        granted,
        noAccounts,    // the service answers and holds no calendar
    };
    Q_ENUM(Authorization)

    // A resync and the Google refresh that follows it, at this interval.
    static constexpr std::chrono::seconds resyncInterval{300};

    // `store` may be null (no calendar service on this platform): connected, that reads as
    // denied. The consent and the user's choices live in `settings`; time comes from `clock`.
    CalendarService(CalendarStore *store, Settings &settings, Clock &clock, QObject *parent = nullptr);
    ~CalendarService() override;

    Authorization authorization() const { return m_authorization; }
    const QList<CalendarInfo> &calendars() const { return m_calendars; }
    // Every entry of the window that is not skipped, by start time; then those skipped.
    const QList<EventInfo> &events() const { return m_events; }
    const QList<EventInfo> &skippedEvents() const { return m_skippedEvents; }
    int alwaysRecordVersion() const { return m_alwaysRecordVersion; }
    // The window read: today's local midnight to 7 calendar days later.
    std::pair<QDateTime, QDateTime> window() const;

    // The state from the consent, what the store said last and how many calendars it holds.
    void refreshAuthorization();
    // "Connect your calendar": gives the consent and reads the calendars. When denied, asks
    // the shell to show where calendars are set up (accountsSettingsWanted).
    void requestAccess();
    void resync();
    // The window became active: the user may have changed their accounts meanwhile.
    void becameActive();

    bool isVisible(const QString &calendarId) const;
    void setVisible(bool visible, const QString &calendarId);
    // Back to each calendar's default visibility; "always record" stays.
    void resetVisibility();
    bool isAlwaysRecord(const QString &calendarId) const;
    void setAlwaysRecord(bool alwaysRecord, const QString &calendarId);

    // The first entry of `events` with that id; skipped entries are not looked at.
    std::optional<EventInfo> eventWithId(const QString &id) const;

    // What the last Google fetch returned, already classified; merged in from the next resync.
    void setGoogleEvents(const QList<EventInfo> &events);

    // A calendar link (https, http or webcal) or a local .ics file, added to the store; and a
    // calendar that Ondel added, removed. `done` gets an empty text or the error to show.
    using Done = std::function<void(const QString &error)>;
    void addCalendar(const QString &linkOrFile, Done done);
    void removeCalendar(const QString &calendarId, Done done);

    // What a resync publishes: the entries to show and those skipped, each by start time.
    struct Lists {
        QList<EventInfo> events;
        QList<EventInfo> skipped;
    };

    // Runs `then` once no resync runs or waits (at once when idle).
    void whenIdle(QObject *context, std::function<void()> then);
    bool isResyncing() const { return m_running; }

Q_SIGNALS:
    void authorizationChanged();
    void calendarsChanged();
    // After events and skippedEvents both took their new values.
    void eventsChanged();
    void alwaysRecordVersionChanged();
    // The Google entries should be fetched again (at the timer, on activation, after an
    // "always record" change).
    void googleRefreshWanted();
    // Denied and asked again: the shell shows where calendars are set up.
    void accountsSettingsWanted();
    void idle();

private:
    void setAuthorization(Authorization authorization);
    void scheduleResync();
    void startResync();
    void readEvents(quint64 generation, QList<CalendarInfo> calendars);
    void finishResync(quint64 generation, std::optional<QList<CalendarInfo>> calendars, Lists lists);
    void endResync();
    void scheduleTimer();
    bool consentGiven() const;

    QPointer<CalendarStore> m_store;
    Settings &m_settings;
    Clock &m_clock;

    Authorization m_authorization = Authorization::notRequested;
    CalendarStore::Availability m_availability = CalendarStore::Availability::unknown;
    QList<CalendarInfo> m_calendars;
    QList<EventInfo> m_events;
    QList<EventInfo> m_skippedEvents;
    QList<EventInfo> m_googleEvents;
    int m_alwaysRecordVersion = 0;

    bool m_running = false;       // a resync waits on the store
    bool m_again = false;         // and one more was asked for meanwhile
    bool m_queued = false;        // a resync is queued for the next turn of the event loop
    quint64 m_generation = 0;     // answers of an abandoned resync are ignored
    Clock::TimerId m_timer = 0;
    Clock::TimerId m_watchdog = 0;
};

}  // namespace ondel
