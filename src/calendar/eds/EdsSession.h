#pragma once

#include "CalendarStore.h"
#include "IcsFeed.h"

#include <QHash>
#include <QSet>

#include <libecal/libecal.h>

namespace ondel {

// The worker side of EdsCalendarStore: the source registry, a client and a live view per calendar
// that was read. Lives and is called only on the EdsThread, where its blocking calls are harmless.
class EdsSession {
public:
    EdsSession(GCancellable *cancellable, std::function<void()> onChanged);
    ~EdsSession();

    EdsSession(const EdsSession &) = delete;
    EdsSession &operator=(const EdsSession &) = delete;

    struct Calendars {
        CalendarStore::Availability availability = CalendarStore::Availability::unavailable;
        QList<CalendarStoreCalendar> list;
    };
    Calendars readCalendars();
    QList<CalendarStoreEvent> readEvents(qint64 start, qint64 end, const QStringList &calendarIds,
                                         const QStringList &ownAddresses);
    // Both answer an error text, empty when done.
    QString addSource(const QString &uid, const QString &name, const IcsFeed::Target &target);
    QString removeSource(const QString &uid);

    // A series stops at this many occurrences in the window: a rule that repeats every minute
    // must not flood the week.
    static constexpr int maxOccurrencesPerSeries = 2000;

    struct Gather;

private:
    struct Watched {
        ECalClient *client = nullptr;
        ECalClientView *view = nullptr;
    };

    bool connectRegistry();
    void expand(ECalClient *client, qint64 start, qint64 end, Gather &gather);
    ECalClient *clientFor(ESource *source);
    void forget(const QString &uid);
    QSet<QString> identityAddresses() const;
    QString duplicateOf(const IcsFeed::Target &target) const;

    static void onSourceEvent(ESourceRegistry *, ESource *source, gpointer self);
    static void onObjectsChanged(ECalClientView *, gpointer, gpointer self);
    static void onBackendDied(EClient *client, gpointer self);

    GCancellable *m_cancellable;
    std::function<void()> m_onChanged;
    ESourceRegistry *m_registry = nullptr;
    QHash<QString, Watched> m_watched;
};

}  // namespace ondel
