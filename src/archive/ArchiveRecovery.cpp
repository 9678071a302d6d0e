#include "ArchiveRecovery.h"

#include "Clock.h"
#include "Log.h"
#include "OndelStore.h"

#include <QElapsedTimer>
#include <QFile>
#include <QStringDecoder>
#include <QtConcurrent/QtConcurrentRun>

namespace {

// No meeting's file comes near this; anything larger is not one, and is not read into memory.
constexpr qint64 kMaxFileBytes = 64 * 1024 * 1024;
constexpr qsizetype kFilesPerRead = 250;

std::optional<QString> readUtf8(const QString &path)
{
    QFile file(path);
    if (file.size() > kMaxFileBytes || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.readAll();
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

// Touches neither the store nor the clock, so that it can run beside the inserts.
QList<std::optional<MeetingFileParser::Parsed>> readFiles(const QStringList &paths, const QDateTime &now)
{
    QList<std::optional<MeetingFileParser::Parsed>> files;
    files.reserve(paths.size());
    for (const QString &path : paths) {
        const std::optional<QString> text = readUtf8(path);
        files.append(text ? MeetingFileParser::parse(*text, now) : std::nullopt);
    }
    return files;
}

} // namespace

ArchiveRecovery::ArchiveRecovery(OndelStore &store, const Clock &clock, const QString &folder, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_clock(clock)
    , m_folder(folder)
{
    connect(&m_watcher, &QFutureWatcher<QList<ParsedFile>>::finished, this, &ArchiveRecovery::nextTurn);
}

ArchiveRecovery::~ArchiveRecovery()
{
    m_watcher.disconnect(this);
    m_next.waitForFinished();
    if (m_bulk)
        m_store.endBulkLoad();
}

bool ArchiveRecovery::begin()
{
    // Only an empty store is rebuilt, so no file can already be in it. A count that fails goes
    // on as if the store were empty.
    if (m_store.meetingCount() != 0)
        return false;
    std::optional<QStringList> files = MeetingImporter::markdownFiles(m_folder);
    if (!files || files->isEmpty())
        return false;
    m_files = std::move(*files);
    m_done = m_read = m_inBatch = 0;
    m_batch.clear();
    m_seen.clear();
    m_recovered = 0;
    m_now = m_clock.now();
    m_lineIds.emplace(m_now);
    m_running = true;
    readAhead();
    return true;
}

void ArchiveRecovery::start()
{
    if (m_running || !begin()) {
        if (!m_running)
            Q_EMIT finished(0);
        return;
    }
    Q_EMIT runningChanged();
    Q_EMIT progressChanged();
    nextTurn();
}

int ArchiveRecovery::runToEnd()
{
    if (m_running || !begin())
        return 0;
    // Nothing else runs meanwhile: a rollback journal writes each page once, where the WAL
    // writes it twice. Beside the window the WAL stays, whose commits wait for no disk flush.
    m_store.beginBulkLoad();
    m_bulk = true;
    while (m_running) {
        if (m_inBatch == m_batch.size()) {
            m_batch = m_next.result();
            m_inBatch = 0;
            readAhead();
        }
        insertSome(0);
    }
    return m_recovered;
}

void ArchiveRecovery::readAhead()
{
    if (m_read >= m_files.size()) {
        m_next = {};
        return;
    }
    m_next = QtConcurrent::run(readFiles, m_files.mid(m_read, kFilesPerRead), m_now);
    m_read += kFilesPerRead;
}

void ArchiveRecovery::nextTurn()
{
    if (!m_running)
        return;
    if (m_inBatch == m_batch.size()) {
        if (!m_next.isFinished()) { // the reader is behind: its end brings the next turn
            m_watcher.setFuture(m_next);
            return;
        }
        m_batch = m_next.result();
        m_inBatch = 0;
        readAhead();
    }
    insertSome(turnMilliseconds);
    Q_EMIT progressChanged();
    // Queued: what the window has to do comes between two turns.
    QMetaObject::invokeMethod(this, &ArchiveRecovery::nextTurn, Qt::QueuedConnection);
}

void ArchiveRecovery::insertSome(int budgetMs)
{
    const qsizetype before = m_done;
    QElapsedTimer elapsed;
    elapsed.start();
    m_store.transaction([&] {
        while (m_inBatch < m_batch.size()) {
            m_recovered += int(recover(m_batch[m_inBatch++]));
            ++m_done;
            if (budgetMs > 0 && elapsed.elapsed() >= budgetMs)
                break;
        }
        return true; // a file that fails is skipped, not a reason to drop the others
    });
    // A store that will not even begin a transaction ends the recovery; the next launch tries again.
    if (m_done == m_files.size() || m_done == before)
        end();
}

bool ArchiveRecovery::recover(ParsedFile &parsed)
{
    if (!parsed)
        return false;
    // Two files naming one id (a copy of a file, say) both come back; the store holds one
    // meeting per id, so the later one gets a new one.
    if (m_seen.contains(parsed->meeting.id))
        parsed->meeting.id = QUuid::createUuid();
    if (!m_store.insert(parsed->meeting))
        return false;
    // Copied, not constructed: a new segment draws a random id, which is slow by the million.
    // The file has no ids for its lines, so fresh ones in time order keep the inserts quick.
    TranscriptSegment line;
    line.meetingId = parsed->meeting.id;
    QList<TranscriptSegment> lines;
    lines.reserve(parsed->turns.size());
    for (const MeetingFileParser::Turn &turn : std::as_const(parsed->turns)) {
        TranscriptSegment &segment = lines.emplaceBack(line);
        segment.id = m_lineIds->next();
        segment.text = turn.text;
        segment.speakerRaw = turn.speaker.rawValue();
        segment.timestamp = turn.timestamp;
    }
    // A meeting comes back with all of its lines or not at all.
    if (!m_store.insert(lines)) {
        m_store.removeMeeting(parsed->meeting.id);
        return false;
    }
    m_seen.insert(parsed->meeting.id);
    return true;
}

void ArchiveRecovery::end()
{
    m_next.waitForFinished();
    if (std::exchange(m_bulk, false))
        m_store.endBulkLoad();
    m_running = false;
    if (m_recovered > 0)
        qCInfo(lcOndel).noquote() << QStringLiteral("Recovered %1 meeting(s) from OndelNotes archive").arg(m_recovered);
    Q_EMIT runningChanged();
    Q_EMIT finished(m_recovered);
}
