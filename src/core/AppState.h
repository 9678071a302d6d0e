#pragma once

#include "TranscriptionSession.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <functional>

class MeetingArchive;
class OndelStore;
class UtteranceSpool;

// A finished meeting as the recent list shows it: a copy, so that no list holds a record.
struct RecentMeetingInfo
{
    QUuid id;
    QString title; // "Untitled Meeting" when the meeting has none
    QDateTime date;
    double duration = 0;

    bool operator==(const RecentMeetingInfo &) const = default;
};

// What runs at start-up after the repairs. Each part may be absent.
struct StartupParts
{
    // Starts the auto-start scheduler (the desktop app only).
    std::function<void()> startAutoStart;
    // Tries again the audio a previous process left in the spool; it goes on in the background.
    std::function<void()> transcribeSpool;
};

// The application-wide state: the one recording session of the process, the short list of
// recent meetings, and the repairs of the store at launch (a crash leaves meetings marked as
// recording; aborted starts leave empty ones). Main thread only. Every fetch or save failure
// here is swallowed: the repairs run again at the next launch by their nature. A failed fetch
// stops a repair: it never reads as "none" or "empty".
class AppState : public QObject
{
    Q_OBJECT
    Q_PROPERTY(TranscriptionSession *session READ sessionObject CONSTANT)

public:
    static constexpr int recentCount = 3;

    explicit AppState(SessionDependencies dependencies, QObject *parent = nullptr);
    ~AppState() override;

    TranscriptionSession &session() { return *m_session; }
    const QList<RecentMeetingInfo> &recentMeetings() const { return m_recentMeetings; }

    // The start-up order, for both front ends once the store is open: the four repairs, then the
    // auto-start scheduler. A stale meeting is closed first, so that the purge and the backfill
    // can see it. Recovery from the archive is no part of it: it runs beside (ArchiveRecovery).
    void startUp(OndelStore &store, const StartupParts &parts = {});

    // Closes the meetings a previous process left recording: empty ones go, the rest are
    // archived. Does nothing while this process records.
    void finalizeStaleRecordings(OndelStore &store);
    // Deletes finished meetings titled "New Meeting" (or nothing) that hold nothing at all.
    void purgeEmptyMeetings(OndelStore &store);
    // The newest finished meetings, at most `recentCount`.
    void refreshRecentMeetings(OndelStore &store);
    // Hands every finished meeting to the archive, which writes those it does not know.
    void backfillArchive(OndelStore &store);

    // The user deleted a meeting: its archive file and its spooled audio go, then its record.
    bool deleteMeeting(OndelStore &store, const QUuid &meetingId);

Q_SIGNALS:
    void recentMeetingsChanged();

private:
    TranscriptionSession *sessionObject() const { return m_session; }
    static void log(const QString &message);
    // Audio still waiting in the spool keeps a meeting from counting as empty.
    bool holdsAudio(const QUuid &meetingId) const;

    MeetingArchive *m_archive;
    UtteranceSpool *m_spool;
    TranscriptionSession *m_session; // a child, made with the state and never replaced
    QList<RecentMeetingInfo> m_recentMeetings;
};
