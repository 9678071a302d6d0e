#pragma once

#include <QObject>
#include <QTextStream>
#include <QUuid>

class MeetingArchiver;
class OndelStore;
class TranscriptionSession;

// Follows one recording from its first line to its end as the command line shows it: prints
// each stored line ("[mm:ss] Me: text"), and once the session has drained, finalized and (when a
// model can be reached) written the notes, and the archive has its files, says how it ended.
class SessionFollower : public QObject
{
    Q_OBJECT

public:
    SessionFollower(TranscriptionSession &session, OndelStore &store, MeetingArchiver &archiver, QTextStream &out,
                    QTextStream &err, QObject *parent = nullptr);

    void follow(const QUuid &meetingId);

Q_SIGNALS:
    // 0 with the meeting's id printed; 1 when nothing was kept.
    void finished(int exitCode);

private:
    void finish(bool deleted);

    TranscriptionSession &m_session;
    OndelStore &m_store;
    MeetingArchiver &m_archiver;
    QTextStream &m_out;
    QTextStream &m_err;
    QUuid m_meetingId;
};
