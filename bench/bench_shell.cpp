#include "AppIdentity.h"
#include "FakeClock.h"
#include "LineSearchIndex.h"
#include "MeetingListModel.h"
#include "OndelStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

const QDateTime kStart(QDate(2025, 1, 6), QTime(9, 0), Qt::UTC);

void fill(OndelStore &store, int meetings, int lines)
{
    store.transaction([&] {
        for (int i = 0; i < meetings; ++i) {
            Meeting m(QStringLiteral("Weekly planning %1").arg(i), kStart.addSecs(qint64(i) * 5 * 3600));
            m.duration = 1800 + i % 900;
            m.userNotes = QStringLiteral("bring the numbers");
            store.insert(m);
            QList<TranscriptSegment> batch;
            batch.reserve(lines);
            for (int j = 0; j < lines; ++j) {
                TranscriptSegment s(QStringLiteral("line %1 of an ordinary meeting, with a few more words of speech").arg(j),
                                    j % 2 ? Speaker::them() : Speaker::me(), j * 9.5);
                s.meetingId = m.id;
                batch.append(s);
            }
            if (!batch.isEmpty())
                store.insert(batch);
        }
        return true;
    });
}

} // namespace

// From the start of the real app's process to the first frame of its window, over a store of
// 1,000 meetings, offscreen. Target: under 1.0 s.
static void BM_AppStartToFirstFrame1000Meetings(benchmark::State &state)
{
    const QString storePath = OndelStore::defaultFilePath();
    QDir().mkpath(QFileInfo(storePath).absolutePath());
    {
        std::unique_ptr<OndelStore> store = OndelStore::open(storePath);
        if (store->meetingCount() == 0)
            fill(*store, 1000, 20);
    }
    for (auto _ : state) {
        QProcess app;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.insert(QStringLiteral("ONDEL_BUNDLE_ID"), AppIdentity::bundleIdentifier());
        app.setProcessEnvironment(env);
        app.setProcessChannelMode(QProcess::MergedChannels);
        QElapsedTimer timer;
        timer.start();
        app.start(QStringLiteral(ONDEL_APP_PATH), {});
        QByteArray err;
        bool shown = false;
        while (!shown && app.waitForReadyRead(10000)) {
            err += app.readAll();
            shown = err.contains("Main window shown");
        }
        const double seconds = double(timer.nsecsElapsed()) / 1e9;
        app.kill();
        app.waitForFinished();
        if (!shown) {
            state.SkipWithError("the window never showed");
            return;
        }
        state.SetIterationTime(seconds);
    }
}
BENCHMARK(BM_AppStartToFirstFrame1000Meetings)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// One keystroke in the sidebar's search over 10,000 meetings of 200 lines each, typing a word
// that occurs nowhere letter by letter (its first letter reads every line). Target: under 100 ms.
static void BM_SidebarSearchKeystroke10kMeetings(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("search.store")));
    fill(*store, 10000, 200);
    FakeClock clock(kStart.addDays(3000));
    MeetingListModel model(*store, clock);
    // The first search of a session reads every line into memory (measured below); this one
    // measures the keystrokes after it.
    model.setSearchText(QStringLiteral("warm"));
    model.setSearchText(QString());
    const QStringList keystrokes{QStringLiteral("q"), QStringLiteral("qu"), QStringLiteral("qua"), QStringLiteral("quar"),
                                 QStringLiteral("quart"), QStringLiteral("quarte"), QStringLiteral("quarter")};
    qsizetype i = 0;
    for (auto _ : state) {
        model.setSearchText(keystrokes.at(i++ % keystrokes.size()));
        benchmark::DoNotOptimize(model.rowCount());
    }
}
BENCHMARK(BM_SidebarSearchKeystroke10kMeetings)->Unit(benchmark::kMillisecond)->Iterations(14);

// The first search of a session that finds nothing preloaded: every line of 10,000 meetings
// of 200 lines read into memory on the spot, then one keystroke. The app reads them on another
// thread once its window is up, so a user meets this only by searching within a second or two
// of launch.
static void BM_SidebarFirstSearch10kMeetings(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("first.store")));
    fill(*store, 10000, 200);
    FakeClock clock(kStart.addDays(3000));
    for (auto _ : state) {
        state.PauseTiming();
        delete &LineSearchIndex::of(*store);
        MeetingListModel model(*store, clock);
        state.ResumeTiming();
        model.setSearchText(QStringLiteral("q"));
        benchmark::DoNotOptimize(model.rowCount());
    }
}
BENCHMARK(BM_SidebarFirstSearch10kMeetings)->Unit(benchmark::kMillisecond)->Iterations(3);
