#include "FakeClock.h"
#include "MeetingArchiver.h"
#include "MeetingImporter.h"
#include "MeetingMarkdown.h"
#include "OndelStore.h"
#include "TimeOrderedIds.h"
#include "ArchiveIndex.h"
#include "ArchiveRecovery.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

constexpr int kMeetings = 10000;
constexpr int kLines = 200;

const QDateTime kStart(QDate(2024, 1, 1), QTime(9, 0), Qt::UTC);

Meeting meeting(int i)
{
    Meeting m(QStringLiteral("Weekly planning %1 — Phở bò").arg(i), kStart.addSecs(qint64(i) * 7 * 3600));
    m.duration = 3000 + i % 600;
    m.summary = QStringLiteral("## Decisions\n- ship the archive\n- measure it");
    m.userNotes = QStringLiteral("remember the numbers");
    return m;
}

// Time-ordered ids only make the setup quicker; reading them back costs the same as any.
TimeOrderedIds lineIds(kStart);

TranscriptSegment line(const QUuid &meetingId, int j)
{
    TranscriptSegment s(QStringLiteral("line %1 of an ordinary meeting, with a few more words of speech").arg(j),
                        j % 2 ? Speaker::them() : Speaker::me(), j * 9.5);
    s.id = lineIds.next();
    s.meetingId = meetingId;
    return s;
}

} // namespace

// Launch with a full store and an empty archive: the index is asked, every meeting is
// snapshotted on the main thread in batches, and the worker writes 10,000 files and the index.
// Target: under 15 s.
static void BM_Backfill10kMeetingsIntoEmptyArchive(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    QList<QUuid> ids;
    store->transaction([&] {
        for (int i = 0; i < kMeetings; ++i) {
            const Meeting m = meeting(i);
            store->insert(m);
            ids.append(m.id);
            for (int j = 0; j < kLines; ++j)
                store->insert(line(m.id, j));
        }
        return true;
    });
    FakeClock clock;
    for (auto _ : state) {
        const QString root = dir.filePath(QStringLiteral("OndelNotes"));
        MeetingArchiver archiver(*store, clock, root);
        archiver.backfill(ids);
        archiver.waitForIdle();
        int files = 0;
        for (QDirIterator it(root, {QStringLiteral("*.md")}, QDir::Files, QDirIterator::Subdirectories); it.hasNext(); it.next())
            ++files;
        state.counters["files"] = files;
        state.counters["indexed"] = double(ArchiveIndex::read(root + QStringLiteral("/index.json")).size());
    }
}
BENCHMARK(BM_Backfill10kMeetingsIntoEmptyArchive)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// A lost store rebuilt from 10,000 archive files of 200 lines each. Target: under 10 s.
// 10,000 meeting files of 200 lines each, as the archiver writes them.
static QString writeArchive(const QTemporaryDir &dir)
{
    const QString folder = dir.filePath(QStringLiteral("OndelNotes"));
    for (int i = 0; i < kMeetings; ++i) {
        const Meeting m = meeting(i);
        QList<TranscriptSegment> segments;
        for (int j = 0; j < kLines; ++j)
            segments.append(line(m.id, j));
        const ArchiveSnapshot snapshot = ArchiveSnapshot::from(m, segments, {});
        const QString year = folder + QStringLiteral("/%1").arg(m.date.date().year());
        QDir().mkpath(year);
        QFile file(year + QStringLiteral("/%1.md").arg(i));
        file.open(QIODevice::WriteOnly);
        file.write(MeetingMarkdown::render(snapshot).toUtf8());
    }
    return folder;
}

static void BM_Import10kFilesIntoEmptyStore(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString folder = writeArchive(dir);
    FakeClock clock;
    for (auto _ : state) {
        std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
        state.counters["meetings"] = MeetingImporter::runIfNeeded(*store, clock, folder);
        MeetingQuery newest;
        newest.limit = 1;
        state.counters["lines_of_one"] = store->segmentCount(store->meetings(newest).first().id);
    }
}
BENCHMARK(BM_Import10kFilesIntoEmptyStore)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// The same recovery beside the start-up, as the app runs it: the longest time the main thread
// spends away from its event loop. Target: under 200 ms, so the window stays usable.
static void BM_Import10kFilesBeside(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString folder = writeArchive(dir);
    FakeClock clock;
    for (auto _ : state) {
        std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
        ArchiveRecovery recovery(*store, clock, folder);
        QEventLoop loop;
        QObject::connect(&recovery, &ArchiveRecovery::finished, &loop, &QEventLoop::quit);
        QElapsedTimer sinceLastTurn;
        qint64 longest = 0;
        QTimer turn; // fires at every pass of the event loop
        QObject::connect(&turn, &QTimer::timeout, [&] { longest = std::max(longest, sinceLastTurn.restart()); });
        turn.start(0);
        sinceLastTurn.start();
        recovery.start();
        loop.exec();
        state.counters["meetings"] = recovery.recovered();
        state.counters["longest_turn_ms"] = double(longest);
    }
}
BENCHMARK(BM_Import10kFilesBeside)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
