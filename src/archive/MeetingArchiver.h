#pragma once

#include "ArchivePaths.h"
#include "ArchiveSnapshot.h"
#include "MeetingArchive.h"

#include <QObject>
#include <QSemaphore>
#include <QThread>
#include <QTimeZone>
#include <QUuid>

#include <atomic>
#include <chrono>

#include <memory>

class ArchiveWriter;
class Clock;
class OndelStore;

// Keeps the Markdown archive: one file per meeting in year folders, and "index.json". Snapshots
// are taken from the store here, on the main thread; every file operation runs on one worker
// thread, in the order of the calls, so the last write of a meeting wins and the index is never
// read and written at once. Nothing here reaches the user: the store is the master copy.
class MeetingArchiver final : public QObject, public MeetingArchive
{
    Q_OBJECT

public:
    using Snapshot = ArchiveSnapshot;

    // Meetings a backfill snapshots at a time, before the main thread gets a turn again.
    static constexpr int backfillBatch = 500;
    // Batches snapshotted ahead of the worker: enough to keep it busy, few enough that a large
    // archive is not held in memory twice.
    static constexpr int batchesAhead = 2;

    MeetingArchiver(OndelStore &store, Clock &clock, const QString &root = archiveRoot(),
                    const QTimeZone &zone = QTimeZone::systemTimeZone(), QObject *parent = nullptr);
    // Finishes every operation asked for so far.
    ~MeetingArchiver() override;

    static QString archiveRoot() { return ArchivePaths::defaultRoot(); }
    static QString slugify(const QString &title) { return ArchivePaths::slugify(title); }
    QString root() const;

    // Writes the meeting as the store holds it now; a rename or a new date moves its file.
    void archive(const QUuid &meetingId) override;
    void archive(const Snapshot &snapshot);
    // Writes the meetings the index does not know. The index is asked first, so only those
    // are snapshotted: an ordinary launch reads no transcript at all.
    void backfill(const QList<QUuid> &meetingIds) override;
    // Takes out a meeting's file and index entry.
    void remove(const QUuid &meetingId) override;

    // Blocks until everything asked for so far is on disk, running the main thread's share of
    // a backfill meanwhile. For a command that is about to exit, and for tests.
    void waitForIdle();
    // For a quit, which must not wait for a large backfill: the batch being written ends and
    // the index keeps what the backfill wrote, so the next start goes on from there; the rest
    // is dropped. Single writes asked for before finish too, within `limit`; the process may
    // end after that with the worker still busy, since every file is replaced whole.
    void stop(std::chrono::milliseconds limit);

private:
    void snapshotBatch();
    bool backfillUnderway() const;
    // From the worker: posts `work` to the main thread, and wakes a waitForIdle() there.
    template<typename Work>
    void answer(Work &&work);
    template<typename Work>
    void post(Work &&work);

    OndelStore &m_store;
    std::unique_ptr<ArchiveWriter> m_writer; // used on the worker thread only
    QThread m_thread;
    QObject *m_worker = nullptr; // lives on m_thread; queued work runs in its context

    // Main thread only.
    int m_backfillsAsking = 0; // waiting for the worker to say which meetings it lacks
    QList<QUuid> m_toSnapshot;
    int m_batchesQueued = 0; // snapshotted, not yet written
    QSemaphore m_answers; // released by the worker after each answer it posts
    std::atomic_bool m_stopping{false}; // set on the main thread, read by the worker's batches
};
