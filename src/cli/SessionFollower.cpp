#include "SessionFollower.h"

#include "MeetingArchiver.h"
#include "OndelStore.h"
#include "TranscriptionSession.h"
#include "Uuid.h"

SessionFollower::SessionFollower(TranscriptionSession &session, OndelStore &store, MeetingArchiver &archiver, QTextStream &out,
                                 QTextStream &err, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_store(store)
    , m_archiver(archiver)
    , m_out(out)
    , m_err(err)
{
}

void SessionFollower::follow(const QUuid &meetingId)
{
    m_meetingId = meetingId;
    connect(&m_store, &OndelStore::segmentAdded, this, [this](const TranscriptSegment &segment) {
        if (segment.meetingId != m_meetingId)
            return;
        const qint64 seconds = qint64(std::max(0.0, segment.timestamp));
        m_out << QStringLiteral("[%1:%2] ").arg(seconds / 60, 2, 10, QLatin1Char('0')).arg(seconds % 60, 2, 10, QLatin1Char('0'))
              << segment.speaker().rawValue() << ": " << segment.text << Qt::endl;
    });
    connect(&m_session, &TranscriptionSession::recordingFinalized, this, [this](const QUuid &id, bool deleted) {
        if (id != m_meetingId)
            return;
        if (deleted || !m_session.isGeneratingSummary() || m_session.generatingSummaryMeetingID() != m_meetingId) {
            finish(deleted);
            return;
        }
        // The notes are on their way: wait for them, or for their failure.
        connect(&m_session, &TranscriptionSession::isGeneratingSummaryChanged, this, [this] {
            if (!m_session.isGeneratingSummary())
                finish(false);
        });
    });
}

void SessionFollower::finish(bool deleted)
{
    disconnect(&m_session, nullptr, this, nullptr);
    disconnect(&m_store, nullptr, this, nullptr);
    if (deleted) {
        m_err << "Nothing was transcribed, so no meeting was kept." << Qt::endl;
        Q_EMIT finished(1);
        return;
    }
    m_archiver.waitForIdle(); // its Markdown file is written before the id is given out
    m_out << uuidText(m_meetingId) << Qt::endl;
    // A lost utterance or failed notes: the meeting is kept, but the run did not go through.
    const QString error = m_session.error();
    if (!error.isEmpty())
        m_err << error << Qt::endl;
    Q_EMIT finished(error.isEmpty() ? 0 : 1);
}
