#include "OndelStore.h"
#include "TranscriptFeedModel.h"
#include "Uuid.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

// A long meeting: turns of one to four lines, a line every 1.2 s, the speakers taking turns.
QUuid fillMeeting(OndelStore &store, int lines)
{
    const Meeting meeting(QStringLiteral("All hands"), QDateTime::currentDateTimeUtc());
    store.insert(meeting);
    QList<TranscriptSegment> batch;
    batch.reserve(lines);
    for (int i = 0; i < lines; ++i) {
        TranscriptSegment s(QStringLiteral("line %1 of an ordinary meeting, with a few more words of speech").arg(i),
                            (i / (1 + i % 4)) % 2 ? Speaker::them() : Speaker::me(), i * 1.2);
        s.meetingId = meeting.id;
        batch.append(s);
    }
    store.insert(batch);
    return meeting.id;
}

} // namespace

// Opening a meeting of 5,000 lines in the feed: reading them from the store and grouping them.
// Target: grouping under 20 ms.
static void BM_FeedLoad5000Lines(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("feed.store")));
    const QString id = uuidText(fillMeeting(*store, 5000));
    for (auto _ : state) {
        TranscriptFeedModel model(*store);
        model.setMeetingId(id);
        benchmark::DoNotOptimize(model.rowCount());
    }
}
BENCHMARK(BM_FeedLoad5000Lines)->Unit(benchmark::kMillisecond);

// One new line at the end of that meeting's feed, as the store announces it; the store's own
// write is measured elsewhere.
static void BM_FeedAppendLineTo5000Lines(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("feed.store")));
    const QUuid id = fillMeeting(*store, 5000);
    TranscriptFeedModel model(*store);
    model.setMeetingId(uuidText(id));
    double t = 6000;
    for (auto _ : state) {
        TranscriptSegment s(QStringLiteral("a new line of ordinary speech"), Speaker::them(), t += 1.0);
        s.meetingId = id;
        Q_EMIT store->segmentAdded(s);
    }
    state.counters["rows"] = double(model.rowCount());
}
BENCHMARK(BM_FeedAppendLineTo5000Lines)->Unit(benchmark::kMicrosecond);
