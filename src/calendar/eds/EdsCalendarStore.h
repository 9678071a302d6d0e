#pragma once

#include "CalendarStore.h"

#include <QTimer>

#include <memory>

class QNetworkAccessManager;

namespace ondel {

class EdsSession;
class EdsThread;
namespace IcsFeed { struct Target; }

// The desktop's calendars through Evolution Data Server (libecal, libedataserver). Every call
// into EDS runs on a worker thread with its own GLib main loop, so nothing here waits on the
// session bus; the answers come back to the main thread queued. Each calendar that was read
// keeps a live view, and the registry's source signals count too: bursts of changes come out as
// one changed() 200 ms after the first.
class EdsCalendarStore : public CalendarStore {
    Q_OBJECT
public:
    // Calendars that Ondel added carry this prefix in their source UID; only those can be removed.
    static constexpr const char *ondelUidPrefix = "ondel-";

    explicit EdsCalendarStore(QObject *parent = nullptr);
    ~EdsCalendarStore() override;

    void readCalendars(CalendarsDone done) override;
    void readEvents(const QDateTime &start, const QDateTime &end, const QStringList &calendarIds,
                    EventsDone done) override;
    void addCalendar(const QUrl &linkOrFile, SourceDone done) override;
    void removeCalendar(const QString &calendarId, SourceDone done) override;
    void setOwnAddresses(const QStringList &addresses) override;

private:
    void noteChange();
    void nameLink(const IcsFeed::Target &target, SourceDone done);
    void addSource(const IcsFeed::Target &target, const QString &name, SourceDone done);
    void answer(SourceDone done, const QString &error);

    std::unique_ptr<EdsThread> m_thread;
    std::unique_ptr<EdsSession> m_session;  // made, used and dropped on m_thread only
    QTimer m_changes;
    QStringList m_ownAddresses;
    QNetworkAccessManager *m_network = nullptr;
};

}  // namespace ondel
