#include "MeetingArchiver.h"

#include "ArchiveWriter.h"
#include "OndelStore.h"

#include <QCoreApplication>

MeetingArchiver::MeetingArchiver(OndelStore &store, Clock &clock, const QString &root, const QTimeZone &zone, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_writer(std::make_unique<ArchiveWriter>(ArchivePaths(root, zone), &clock))
{
    m_thread.setObjectName(QStringLiteral("ondel-archiver"));
    m_worker = new QObject;
    m_worker->moveToThread(&m_thread);
    // Archive files are background work: they yield to capture and the interface.
    m_thread.start(QThread::LowPriority);
}

MeetingArchiver::~MeetingArchiver()
{
    waitForIdle();
    m_thread.quit();
    m_thread.wait();
    delete m_worker;
}

QString MeetingArchiver::root() const
{
    return m_writer->paths().root();
}

template<typename Work>
void MeetingArchiver::post(Work &&work)
{
    QMetaObject::invokeMethod(m_worker, std::forward<Work>(work), Qt::QueuedConnection);
}

void MeetingArchiver::archive(const QUuid &meetingId)
{
    if (const std::optional<Snapshot> snapshot = Snapshot::take(m_store, meetingId))
        archive(*snapshot);
}

void MeetingArchiver::archive(const Snapshot &snapshot)
{
    post([writer = m_writer.get(), snapshot] { writer->archive(snapshot); });
}

void MeetingArchiver::remove(const QUuid &meetingId)
{
    post([writer = m_writer.get(), meetingId] { writer->remove(meetingId); });
}

template<typename Work>
void MeetingArchiver::answer(Work &&work)
{
    QMetaObject::invokeMethod(this, std::forward<Work>(work), Qt::QueuedConnection);
    m_answers.release(); // after posting, so that a waitForIdle() woken by it finds the answer
}

void MeetingArchiver::backfill(const QList<QUuid> &meetingIds)
{
    if (meetingIds.isEmpty())
        return;
    ++m_backfillsAsking;
    post([this, writer = m_writer.get(), meetingIds] {
        const QList<QUuid> unknown = writer->unknownIds(meetingIds);
        // Back to the main thread, where the records are. The destructor waits for this.
        answer([this, unknown] {
            --m_backfillsAsking;
            if (m_stopping)
                return;
            m_toSnapshot.append(unknown);
            snapshotBatch();
        });
    });
}

void MeetingArchiver::snapshotBatch()
{
    // The worker's answer to a batch asks for the next one: snapshots never pile up ahead of it.
    if (m_toSnapshot.isEmpty() || m_batchesQueued >= batchesAhead)
        return;
    QList<Snapshot> batch;
    while (!m_toSnapshot.isEmpty() && batch.size() < backfillBatch) {
        // A meeting deleted since the index was asked has nothing left to write.
        if (std::optional<Snapshot> snapshot = Snapshot::take(m_store, m_toSnapshot.takeFirst()))
            batch.append(std::move(*snapshot));
    }
    // The index is saved with the last batch of what is known to be missing.
    const bool more = !m_toSnapshot.isEmpty();
    if (!batch.isEmpty()) {
        ++m_batchesQueued;
        post([this, writer = m_writer.get(), batch = std::move(batch), more] {
            if (!m_stopping)
                writer->backfill(batch, more);
            answer([this] {
                --m_batchesQueued;
                snapshotBatch();
            });
        });
    } else if (!more) {
        post([writer = m_writer.get()] { writer->finishBackfill(); });
    }
    // The next batch after the events waiting on the main thread: a large archive never freezes it.
    if (!m_toSnapshot.isEmpty() && m_batchesQueued < batchesAhead)
        QMetaObject::invokeMethod(this, &MeetingArchiver::snapshotBatch, Qt::QueuedConnection);
}

bool MeetingArchiver::backfillUnderway() const
{
    return m_backfillsAsking > 0 || !m_toSnapshot.isEmpty() || m_batchesQueued > 0;
}

void MeetingArchiver::stop(std::chrono::milliseconds limit)
{
    m_stopping = true;
    m_toSnapshot.clear();
    auto drained = std::make_shared<QSemaphore>();
    post([writer = m_writer.get(), drained] {
        writer->finishBackfill();
        drained->release();
    });
    drained->tryAcquire(1, int(limit.count()));
}

void MeetingArchiver::waitForIdle()
{
    // The main thread snapshots here while the worker writes, and sleeps only when it has
    // nothing to do until the worker's next answer.
    while (backfillUnderway()) {
        m_answers.tryAcquire(m_answers.available()); // answers posted so far are handled below
        QCoreApplication::sendPostedEvents(this);
        if (!m_toSnapshot.isEmpty() && m_batchesQueued < batchesAhead)
            snapshotBatch();
        else if (backfillUnderway())
            m_answers.acquire();
    }
    QMetaObject::invokeMethod(m_worker, [] {}, Qt::BlockingQueuedConnection);
}
