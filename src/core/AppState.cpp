#include "AppState.h"

#include "Log.h"
#include "MeetingArchive.h"
#include "OndelStore.h"
#include "UtteranceSpool.h"

AppState::AppState(SessionDependencies dependencies, QObject *parent)
    : QObject(parent)
    , m_archive(dependencies.archive)
    , m_spool(dependencies.spool)
    , m_session(new TranscriptionSession(std::move(dependencies), this))
{
}

AppState::~AppState() = default;

void AppState::log(const QString &message)
{
    qCInfo(lcOndel).noquote() << message;
}

bool AppState::holdsAudio(const QUuid &meetingId) const
{
    return m_spool && m_spool->holdsAudio(meetingId);
}

void AppState::startUp(OndelStore &store, const StartupParts &parts)
{
    finalizeStaleRecordings(store);
    purgeEmptyMeetings(store);
    refreshRecentMeetings(store);
    backfillArchive(store);
    // After the repairs: the audio a previous process left in the spool.
    if (parts.transcribeSpool)
        parts.transcribeSpool();
    if (parts.startAutoStart)
        parts.startAutoStart();
}

void AppState::finalizeStaleRecordings(OndelStore &store)
{
    // A live recording is not stale; its leftovers wait for the next launch.
    if (m_session->isRecording())
        return;
    MeetingQuery query;
    query.isRecording = true;
    const QList<Meeting> stale = store.meetings(query);
    if (stale.isEmpty())
        return;
    log(QStringLiteral("Finalizing %1 stale recording(s) from a previous session").arg(stale.size()));
    for (const Meeting &meeting : stale) {
        // A failed count is no empty meeting: the repair stops, and runs again at the next launch.
        bool counted = false;
        const int lines = store.segmentCount(meeting.id, &counted);
        if (!counted)
            return;
        store.update(meeting.id, [](Meeting &m) { m.isRecording = false; });
        // A meeting linked to an event survives even when empty: the user may yet record into it.
        if (lines == 0 && !meeting.calendarEventId && !meeting.hasUserNotes() && !holdsAudio(meeting.id))
            store.removeMeeting(meeting.id);
        else if (m_archive)
            m_archive->archive(meeting.id);
    }
}

void AppState::purgeEmptyMeetings(OndelStore &store)
{
    MeetingQuery query;
    query.isRecording = false;
    QList<QUuid> empty;
    for (const Meeting &m : store.meetings(query)) {
        // Any other title is the user's, however empty the meeting. Not the stale test: this one
        // looks at the summary and the title, that one at the calendar link.
        if (m.title != QLatin1String("New Meeting") && !m.title.isEmpty())
            continue;
        if (m.summary || m.hasUserNotes())
            continue;
        bool counted = false;
        const int lines = store.segmentCount(m.id, &counted);
        if (!counted)
            return; // a failed count is no empty meeting: nothing is purged this time
        if (lines == 0 && !holdsAudio(m.id))
            empty.append(m.id);
    }
    if (empty.isEmpty())
        return;
    log(QStringLiteral("Purging %1 empty meeting(s)").arg(empty.size()));
    // The archive is left alone: a file such a meeting may have stays where it is.
    for (const QUuid &id : std::as_const(empty))
        store.removeMeeting(id);
}

void AppState::refreshRecentMeetings(OndelStore &store)
{
    MeetingQuery query;
    query.isRecording = false;
    query.newestFirst = true;
    query.limit = recentCount;
    bool read = false;
    const QList<Meeting> meetings = store.meetings(query, &read);
    if (!read)
        return; // the list keeps what it showed
    QList<RecentMeetingInfo> recent;
    for (const Meeting &m : meetings)
        recent.append({m.id, m.title.isEmpty() ? QStringLiteral("Untitled Meeting") : m.title, m.date, m.duration});
    if (recent == m_recentMeetings)
        return;
    m_recentMeetings = recent;
    Q_EMIT recentMeetingsChanged();
}

void AppState::backfillArchive(OndelStore &store)
{
    if (!m_archive)
        return;
    MeetingQuery query;
    query.isRecording = false;
    QList<QUuid> ids;
    for (const Meeting &m : store.meetings(query))
        ids.append(m.id);
    if (!ids.isEmpty())
        m_archive->backfill(ids);
}

bool AppState::deleteMeeting(OndelStore &store, const QUuid &meetingId)
{
    if (m_archive)
        m_archive->remove(meetingId);
    if (m_spool)
        m_spool->removeMeeting(meetingId);
    return store.removeMeeting(meetingId);
}
