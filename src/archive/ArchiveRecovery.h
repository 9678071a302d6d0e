#pragma once

#include "MeetingFileParser.h"
#include "MeetingImporter.h"
#include "TimeOrderedIds.h"

#include <QFutureWatcher>
#include <QList>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QUuid>

#include <optional>

class Clock;
class OndelStore;

// Rebuilding an empty store from the archive folder, as a task beside the start-up: files are
// read and parsed a batch ahead on another thread, and inserted on the main thread in short
// transactions, one per turn of the event loop, so the window stays usable and can show how far
// it got. The command line runs it to the end at once.
class ArchiveRecovery : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(int filesDone READ filesDone NOTIFY progressChanged)
    Q_PROPERTY(int fileCount READ fileCount NOTIFY progressChanged)

public:
    // How long one turn of the event loop inserts for.
    static constexpr int turnMilliseconds = 40;

    ArchiveRecovery(OndelStore &store, const Clock &clock, const QString &folder = MeetingImporter::recoveryFolder(),
                    QObject *parent = nullptr);
    ~ArchiveRecovery() override;

    // Starts unless the store holds a meeting or the folder no file; finished() comes either way.
    void start();
    // The whole recovery, before returning. How many meetings came back.
    int runToEnd();

    bool running() const { return m_running; }
    int filesDone() const { return int(m_done); }
    int fileCount() const { return int(m_files.size()); }
    int recovered() const { return m_recovered; }

Q_SIGNALS:
    void runningChanged();
    void progressChanged();
    void finished(int recovered);

private:
    using ParsedFile = std::optional<MeetingFileParser::Parsed>;

    bool begin();
    // Inserts parsed files for up to `budgetMs` (0: the rest of the batch) in one transaction.
    void insertSome(int budgetMs);
    void readAhead();
    void nextTurn();
    void end();
    bool recover(ParsedFile &parsed);

    OndelStore &m_store;
    const Clock &m_clock;
    QString m_folder;
    QStringList m_files;
    qsizetype m_done = 0;
    qsizetype m_read = 0; // files handed to the reader so far
    QList<ParsedFile> m_batch;
    qsizetype m_inBatch = 0;
    QFuture<QList<ParsedFile>> m_next;
    QFutureWatcher<QList<ParsedFile>> m_watcher;
    QSet<QUuid> m_seen;
    std::optional<TimeOrderedIds> m_lineIds;
    QDateTime m_now;
    int m_recovered = 0;
    bool m_running = false;
    bool m_bulk = false; // on the rollback journal of a bulk load
};
