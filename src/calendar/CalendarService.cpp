#include "CalendarService.h"

#include "EventMirror.h"

#include "Log.h"
#include "Settings.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <memory>
#include <utility>

namespace ondel {

namespace {

// A store that never answers must not hold every later resync back.
constexpr std::chrono::seconds kStoreAnswerLimit{60};

void logLine(const QString &line)
{
    qCInfo(lcOndel).noquote() << line;
}

// The visibility rule over a list of calendars: the user's choice, else the calendar's default,
// else shown.
bool visibleIn(const QVariantMap &choices, const QList<CalendarInfo> &calendars, const QString &calendarId)
{
    const auto choice = choices.constFind(calendarId);
    if (choice != choices.constEnd())
        return choice->toBool();
    for (const CalendarInfo &calendar : calendars) {
        if (calendar.id == calendarId)
            return calendar.defaultVisible;
    }
    return true;
}

// Dropped before classification: all-day entries, and those the user declined (their own
// attendee record, the first one marked as theirs).
bool isKept(const CalendarStoreEvent &event)
{
    if (event.isAllDay || !event.startDate.isValid() || !event.endDate.isValid())
        return false;
    for (const CalendarStoreAttendee &attendee : event.attendees) {
        if (attendee.isCurrentUser)
            return !attendee.declined;
    }
    return true;
}

// Beyond this many entries the mirroring moves to a worker thread, so that a calendar of tens of
// thousands of entries does not hold the window (a thousand take a few milliseconds).
constexpr qsizetype kMirrorOnMainThreadLimit = 1000;

// The desktop's entries mirrored and classified, the Google ones merged in, sorted and split.
// Pure: runs on any thread.
CalendarService::Lists buildLists(const QList<CalendarStoreEvent> &raw, const QList<CalendarInfo> &calendars,
                                  const QSet<QString> &alwaysRecord, const QList<EventInfo> &google)
{
    QHash<QString, const CalendarInfo *> byId;
    for (const CalendarInfo &calendar : calendars)
        byId.insert(calendar.id, &calendar);
    QList<EventInfo> all;
    all.reserve(raw.size() + google.size());
    for (const CalendarStoreEvent &event : raw) {
        if (isKept(event))
            all.append(EventMirror::mirror(event, byId.value(event.calendarId), alwaysRecord.contains(event.calendarId)));
    }
    all.append(google);
    // Stable: on equal start times the desktop's entries stay ahead of Google's.
    std::stable_sort(all.begin(), all.end(), [](const EventInfo &a, const EventInfo &b) { return a.startDate < b.startDate; });
    CalendarService::Lists lists;
    for (EventInfo &event : all)
        (event.kind == EventKind::skip ? lists.skipped : lists.events).append(std::move(event));
    return lists;
}

}  // namespace

CalendarService::CalendarService(CalendarStore *store, Settings &settings, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_clock(clock)
{
    refreshAuthorization();
    if (m_store)
        connect(m_store, &CalendarStore::changed, this, &CalendarService::scheduleResync);
    scheduleTimer();
    if (consentGiven())
        resync();
}

CalendarService::~CalendarService()
{
    m_clock.cancel(m_timer);
    m_clock.cancel(m_watchdog);
}

bool CalendarService::consentGiven() const
{
    return m_settings.calendarConnected();
}

std::pair<QDateTime, QDateTime> CalendarService::window() const
{
    // Last midnight, so that the running day's past entries stay; 7 calendar days, so that a
    // change of daylight-saving time moves the end with the wall clock.
    const QDateTime start(m_clock.now().toLocalTime().date(), QTime(0, 0), Qt::LocalTime);
    return {start.toUTC(), start.addDays(7).toUTC()};
}

void CalendarService::setAuthorization(Authorization authorization)
{
    if (m_authorization == authorization)
        return;
    m_authorization = authorization;
    Q_EMIT authorizationChanged();
}

void CalendarService::refreshAuthorization()
{
    if (!consentGiven())
        setAuthorization(Authorization::notRequested);
    else if (!m_store || m_availability == CalendarStore::Availability::unavailable)
        setAuthorization(Authorization::denied);
    else if (m_availability == CalendarStore::Availability::available && m_calendars.isEmpty())
        setAuthorization(Authorization::noAccounts);
    else
        setAuthorization(Authorization::granted);
}

void CalendarService::requestAccess()
{
    switch (m_authorization) {
    case Authorization::notRequested:
        m_settings.setCalendarConnected(true);
        refreshAuthorization();
        resync();
        break;
    case Authorization::denied:
        Q_EMIT accountsSettingsWanted();
        break;
    case Authorization::granted:
    case Authorization::noAccounts:
        break;
    }
}

void CalendarService::becameActive()
{
    refreshAuthorization();
    resync();
    Q_EMIT googleRefreshWanted();
}

void CalendarService::scheduleTimer()
{
    m_timer = m_clock.schedule(resyncInterval, this, [this] {
        scheduleTimer();
        resync();
        Q_EMIT googleRefreshWanted();
    });
}

void CalendarService::scheduleResync()
{
    // A burst of store changes (a calendar synced by its account) is one resync.
    if (m_queued)
        return;
    m_queued = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_queued = false;
            resync();
        },
        Qt::QueuedConnection);
}

void CalendarService::resync()
{
    if (m_running) {
        m_again = true;
        return;
    }
    startResync();
}

void CalendarService::startResync()
{
    m_running = true;
    const quint64 generation = ++m_generation;
    m_watchdog = m_clock.schedule(kStoreAnswerLimit, this, [this, generation] {
        m_watchdog = 0;
        if (generation != m_generation || !m_running)
            return;
        logLine(QStringLiteral("Calendar store did not answer within %1 s").arg(kStoreAnswerLimit.count()));
        ++m_generation;
        endResync();
    });

    if (!consentGiven() || !m_store) {
        refreshAuthorization();
        finishResync(generation, std::nullopt, buildLists({}, {}, {}, m_googleEvents));
        return;
    }
    QPointer<CalendarService> self(this);
    // Each answer counts once, whatever the store does.
    auto answered = std::make_shared<bool>(false);
    m_store->readCalendars([self, generation, answered](CalendarStore::Availability availability, QList<CalendarStoreCalendar> raw) {
        if (!self || generation != self->m_generation || std::exchange(*answered, true))
            return;
        self->m_availability = availability;
        if (availability != CalendarStore::Availability::available) {
            // Nothing to read: the calendars keep their last value.
            self->finishResync(generation, std::nullopt, buildLists({}, {}, {}, self->m_googleEvents));
            return;
        }
        QList<CalendarInfo> calendars;
        calendars.reserve(raw.size());
        for (const CalendarStoreCalendar &calendar : raw)
            calendars.append(EventMirror::calendarInfo(calendar));
        std::stable_sort(calendars.begin(), calendars.end(), [](const CalendarInfo &a, const CalendarInfo &b) {
            if (const int bySource = a.sourceTitle.localeAwareCompare(b.sourceTitle))
                return bySource < 0;
            return a.title.localeAwareCompare(b.title) < 0;
        });
        self->readEvents(generation, std::move(calendars));
    });
}

void CalendarService::readEvents(quint64 generation, QList<CalendarInfo> calendars)
{
    const QVariantMap choices = m_settings.calendarVisibility();
    QStringList visibleIds;
    for (const CalendarInfo &calendar : calendars) {
        if (visibleIn(choices, calendars, calendar.id))
            visibleIds.append(calendar.id);
    }
    if (visibleIds.isEmpty()) {
        Lists lists = buildLists({}, {}, {}, m_googleEvents);
        finishResync(generation, std::move(calendars), std::move(lists));
        return;
    }
    const auto [start, end] = window();
    QPointer<CalendarService> self(this);
    auto answered = std::make_shared<bool>(false);
    m_store->readEvents(start, end, visibleIds, [self, generation, calendars, answered](QList<CalendarStoreEvent> raw) {
        if (!self || generation != self->m_generation || std::exchange(*answered, true))
            return;
        const QStringList alwaysRecordList = self->m_settings.alwaysRecordCalendars();
        const QSet<QString> alwaysRecord(alwaysRecordList.begin(), alwaysRecordList.end());
        if (raw.size() <= kMirrorOnMainThreadLimit) {
            self->finishResync(generation, calendars, buildLists(raw, calendars, alwaysRecord, self->m_googleEvents));
            return;
        }
        QtConcurrent::run(buildLists, std::move(raw), calendars, alwaysRecord, self->m_googleEvents)
            .then(self.data(), [self, generation, calendars](Lists lists) {
                if (self)
                    self->finishResync(generation, calendars, std::move(lists));
            });
    });
}

void CalendarService::finishResync(quint64 generation, std::optional<QList<CalendarInfo>> calendars, Lists lists)
{
    if (generation != m_generation || !m_running)
        return;
    const bool calendarsChange = calendars && *calendars != m_calendars;
    if (calendarsChange)
        m_calendars = std::move(*calendars);
    const bool eventsChange = lists.events != m_events || lists.skipped != m_skippedEvents;
    if (eventsChange) {
        m_events = std::move(lists.events);
        m_skippedEvents = std::move(lists.skipped);
    }
    // Everything is in place before anyone hears of it.
    refreshAuthorization();
    if (calendarsChange)
        Q_EMIT calendarsChanged();
    if (eventsChange)
        Q_EMIT eventsChanged();
    endResync();
}

void CalendarService::endResync()
{
    m_clock.cancel(m_watchdog);
    m_watchdog = 0;
    m_running = false;
    if (m_again) {
        m_again = false;
        startResync();
        return;
    }
    Q_EMIT idle();
}

void CalendarService::whenIdle(QObject *context, std::function<void()> then)
{
    if (!m_running && !m_queued) {
        then();
        return;
    }
    connect(this, &CalendarService::idle, context, std::move(then), Qt::SingleShotConnection);
}

bool CalendarService::isVisible(const QString &calendarId) const
{
    return visibleIn(m_settings.calendarVisibility(), m_calendars, calendarId);
}

void CalendarService::setVisible(bool visible, const QString &calendarId)
{
    QVariantMap choices = m_settings.calendarVisibility();
    choices.insert(calendarId, visible);
    m_settings.setCalendarVisibility(choices);
    resync();
}

void CalendarService::resetVisibility()
{
    m_settings.setCalendarVisibility({});
    resync();
}

bool CalendarService::isAlwaysRecord(const QString &calendarId) const
{
    return m_settings.alwaysRecordCalendars().contains(calendarId);
}

void CalendarService::setAlwaysRecord(bool alwaysRecord, const QString &calendarId)
{
    // Kept as a set: one entry per id, in no meaningful order.
    const QStringList stored = m_settings.alwaysRecordCalendars();
    QSet<QString> ids(stored.begin(), stored.end());
    if (alwaysRecord)
        ids.insert(calendarId);
    else
        ids.remove(calendarId);
    QStringList list(ids.begin(), ids.end());
    list.sort();
    m_settings.setAlwaysRecordCalendars(list);
    ++m_alwaysRecordVersion;
    Q_EMIT alwaysRecordVersionChanged();
    resync();
    // Google entries carry their verdict from their fetch.
    Q_EMIT googleRefreshWanted();
}

std::optional<EventInfo> CalendarService::eventWithId(const QString &id) const
{
    for (const EventInfo &event : m_events) {
        if (event.id == id)
            return event;
    }
    return std::nullopt;
}

void CalendarService::setGoogleEvents(const QList<EventInfo> &events)
{
    m_googleEvents = events;
    resync();
}

void CalendarService::addCalendar(const QString &linkOrFile, Done done)
{
    const QString text = linkOrFile.trimmed();
    QUrl url;
    const QUrl asLink(text, QUrl::StrictMode);
    const QString scheme = asLink.scheme().toLower();
    if (scheme == QLatin1String("https") || scheme == QLatin1String("http") || scheme == QLatin1String("webcal")) {
        if (!asLink.isValid() || asLink.host().isEmpty()) {
            done(QStringLiteral("\"%1\" is not a calendar link.").arg(text));
            return;
        }
        url = asLink;
    } else {
        const QFileInfo file(scheme == QLatin1String("file") ? asLink.toLocalFile() : text);
        if (text.isEmpty() || !file.isFile()) {
            done(QStringLiteral("\"%1\" is neither a calendar link (https or webcal) nor a calendar file.").arg(text));
            return;
        }
        url = QUrl::fromLocalFile(file.absoluteFilePath());
    }
    if (!consentGiven()) {
        done(QStringLiteral("Connect your calendar first."));
        return;
    }
    if (!m_store) {
        done(QStringLiteral("No calendar service on this computer."));
        return;
    }
    QPointer<CalendarService> self(this);
    m_store->addCalendar(url, [self, done](const QString &error) {
        if (self && error.isEmpty())
            self->resync();
        done(error);
    });
}

void CalendarService::removeCalendar(const QString &calendarId, Done done)
{
    const auto found = std::find_if(m_calendars.cbegin(), m_calendars.cend(),
                                    [&](const CalendarInfo &calendar) { return calendar.id == calendarId; });
    if (found == m_calendars.cend()) {
        done(QStringLiteral("No calendar with the id \"%1\".").arg(calendarId));
        return;
    }
    if (!found->addedByOndel) {
        done(QStringLiteral("\"%1\" was not added in Ondel; remove it where it was set up.").arg(found->title));
        return;
    }
    if (!m_store) {
        done(QStringLiteral("No calendar service on this computer."));
        return;
    }
    QPointer<CalendarService> self(this);
    m_store->removeCalendar(calendarId, [self, calendarId, done](const QString &error) {
        if (self && error.isEmpty()) {
            // The choices about a calendar that is gone go with it.
            QVariantMap choices = self->m_settings.calendarVisibility();
            if (choices.remove(calendarId))
                self->m_settings.setCalendarVisibility(choices);
            QStringList always = self->m_settings.alwaysRecordCalendars();
            if (always.removeAll(calendarId))
                self->m_settings.setAlwaysRecordCalendars(always);
            self->resync();
        }
        done(error);
    });
}

}  // namespace ondel
