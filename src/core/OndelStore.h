#pragma once

#include "ChatMessage.h"
#include "Folder.h"
#include "Meeting.h"
#include "TranscriptSegment.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

// Which meetings a fetch returns, and in what order.
struct MeetingQuery
{
    std::optional<bool> isRecording;
    std::optional<QUuid> folderId;
    bool withoutFolder = false;
    bool newestFirst = true;
    int limit = 0; // 0: no limit
};

// The persistent store of meetings, transcript lines, chat turns and folders, on SQLite.
// Main thread only. Every write is committed at once; a failed write changes nothing on disk
// and returns false (lastError() tells why). Each change is announced by a signal so that lists
// refresh without polling.
class OndelStore : public QObject
{
    Q_OBJECT

public:
    ~OndelStore() override;

    // Opens (creating if needed) the store at `filePath`, bringing its schema up to date.
    static std::unique_ptr<OndelStore> open(const QString &filePath, QString *error = nullptr);
    // The file of this build: <data folder>/<container>/Ondel.store.
    static QString defaultFilePath();
    // The process-wide store, opened on first use. A store that cannot be opened ends the
    // process: nothing in Ondel can run without it.
    static OndelStore &shared();

    QString filePath() const { return m_filePath; }
    QString lastError() const { return m_lastError; }

    // Runs `work` as one transaction (not nested): its writes land together, or not at all when
    // it returns false. For bulk writes such as a recovery, which would otherwise commit each row.
    bool transaction(const std::function<bool()> &work);
    // Runs `work`, a load of many rows in a few large transactions (a recovery), under a rollback
    // journal, which writes a new page once where the WAL writes it twice (the log, then the
    // file). The WAL is back afterwards. Needs the only connection to the file; when another one
    // has it open, `work` simply runs in the WAL.
    void bulkLoad(const std::function<void()> &work);
    // The same in two steps, for a load that yields to the event loop between its transactions.
    void beginBulkLoad();
    void endBulkLoad();

    // Meetings
    bool insert(const Meeting &meeting);
    bool save(const Meeting &meeting);
    // Reads the meeting as stored, applies `change` and saves it, so that fields changed
    // elsewhere in the meantime are kept.
    bool update(const QUuid &meetingId, const std::function<void(Meeting &)> &change);
    bool removeMeeting(const QUuid &meetingId);
    // Reads set `ok` (when given) to whether the store could be read: a failed read is not an
    // empty answer, and whoever deletes by it must tell the two apart.
    std::optional<Meeting> meeting(const QUuid &meetingId, bool *ok = nullptr) const;
    QList<Meeting> meetings(const MeetingQuery &query = {}, bool *ok = nullptr) const;
    int meetingCount(const MeetingQuery &query = {}, bool *ok = nullptr) const;

    // Transcript lines; each must name its meeting.
    bool insert(const TranscriptSegment &segment);
    // Lines in the order given, all of them or none: for bulk writes such as a recovery.
    bool insert(const QList<TranscriptSegment> &segments);
    bool removeSegment(const QUuid &segmentId);
    // Sorted by timestamp; equal timestamps keep the order in which they were added.
    QList<TranscriptSegment> segments(const QUuid &meetingId, bool *ok = nullptr) const;
    // Lines of the given speakers with a timestamp in [from, to], in the order they were added.
    QList<TranscriptSegment> segmentsBetween(const QUuid &meetingId, const QStringList &speakerRaws, double from, double to) const;
    int segmentCount(const QUuid &meetingId, bool *ok = nullptr) const;
    // The meetings with a line that contains `text`, case aside, in one pass over the lines.
    QSet<QUuid> meetingsWithLineContaining(const QString &text) const;
    // Every line's meeting and text, in no particular order, in one pass over a read-only
    // connection of its own: callable from any thread, beside the store's writes.
    static bool readLines(const QString &filePath, const std::function<void(const QUuid &meetingId, const QString &text)> &visit);
    // For tests: stores opened afterwards write and read lines through Qt SQL alone, as they do
    // when the driver hands out no SQLite handle.
    static void setLineWritesThroughQtOnly(bool qtOnly);
    // How long a write waits for another connection's lock before it fails, for stores opened
    // afterwards (5 s unless a test shortens it).
    static void setBusyTimeout(int milliseconds);

    // Chat turns; each must name its meeting. Sorted by creation time.
    bool insert(const ChatMessage &message);
    bool removeChatMessage(const QUuid &messageId);
    QList<ChatMessage> chatMessages(const QUuid &meetingId, bool *ok = nullptr) const;

    // Folders
    bool insert(const Folder &folder);
    bool save(const Folder &folder);
    bool removeFolder(const QUuid &folderId);
    std::optional<Folder> folder(const QUuid &folderId) const;
    QList<Folder> folders() const;

Q_SIGNALS:
    // A meeting was added, removed or changed.
    void meetingChanged(const QUuid &meetingId);
    void meetingRemoved(const QUuid &meetingId);
    void segmentAdded(const TranscriptSegment &segment);
    void segmentRemoved(const QUuid &meetingId, const QUuid &segmentId);
    void chatMessagesChanged(const QUuid &meetingId);
    void foldersChanged();

private:
    class DirectLines;

    OndelStore(const QString &filePath, const QString &connectionName);

    QSqlQuery &prepared(const QString &sql) const;
    bool run(QSqlQuery &query) const;
    bool setJournal(const char *mode, const char *synchronous);
    bool writeMeeting(const Meeting &meeting, bool isNew);
    bool writeSegments(const TranscriptSegment *segments, qsizetype count);
    bool writeSegmentThroughQt(const TranscriptSegment &segment);
    std::optional<QUuid> meetingOfSegment(const QUuid &segmentId) const;
    std::optional<QUuid> meetingOfChatMessage(const QUuid &messageId) const;

    QString m_filePath;
    QString m_connectionName;
    QSqlDatabase m_db;
    mutable QHash<QString, QSqlQuery> m_statements;
    mutable QSqlQuery m_unprepared; // the last statement that failed to prepare
    std::unique_ptr<DirectLines> m_directLines; // absent when lines go through Qt SQL
    mutable QString m_lastError;
    bool m_bulkJournal = false; // a bulk load switched to the rollback journal
};
