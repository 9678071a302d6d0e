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

void MeetingArchiver::backfill(const QList<QUuid> &meetingIds)
{
    if (meetingIds.isEmpty())
        return;
    ++m_backfillsUnderway;
    post([this, writer = m_writer.get(), meetingIds] {
        const QList<QUuid> unknown = writer->unknownIds(meetingIds);
        // Back to the main thread, where the records are. The destructor waits for this.
        QMetaObject::invokeMethod(this, [this, unknown] { snapshotAndWrite(unknown); }, Qt::QueuedConnection);
    });
}

void MeetingArchiver::snapshotAndWrite(QList<QUuid> unknown)
{
    QList<Snapshot> batch;
    while (!unknown.isEmpty() && batch.size() < backfillBatch) {
        // A meeting deleted since the index was asked has nothing left to write.
        if (std::optional<Snapshot> snapshot = Snapshot::take(m_store, unknown.takeFirst()))
            batch.append(std::move(*snapshot));
    }
    if (!batch.isEmpty())
        post([writer = m_writer.get(), batch = std::move(batch)] { writer->backfill(batch); });
    if (unknown.isEmpty()) {
        --m_backfillsUnderway;
        return;
    }
    // The rest after the events waiting on the main thread: a large archive never freezes it.
    QMetaObject::invokeMethod(this, [this, rest = std::move(unknown)] { snapshotAndWrite(rest); }, Qt::QueuedConnection);
}

void MeetingArchiver::waitForIdle()
{
    for (;;) {
        QMetaObject::invokeMethod(m_worker, [] {}, Qt::BlockingQueuedConnection);
        if (m_backfillsUnderway == 0)
            return;
        QCoreApplication::sendPostedEvents(this);
    }
}
