#include "DualStreamMixer.h"
#include "FakeClock.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "TranscriptionSession.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>

// One finished line, from the transcriber's callback to the row in the store, in a meeting that
// already holds 10,000 lines: what the main thread pays per line late in a long meeting.
// Echo suppression is on, with a finder that looks at every candidate it is given.
static void BM_AppendLineTo10kMeeting(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    Settings settings(dir.filePath(QStringLiteral("settings.json")));
    FakeClock clock;
    SampleRecorder mic, system;
    DualStreamMixer mixer(&mic, &system);
    FakeMicrophonePermission permission;
    FakeCredentials credentials;
    std::shared_ptr<FakeTranscriber> me;
    int candidatesSeen = 0;

    SessionDependencies deps;
    deps.mixer = &mixer;
    deps.settings = &settings;
    deps.clock = &clock;
    deps.microphone = &permission;
    deps.credentials = &credentials;
    deps.makeTranscriber = [&](const TranscriberConfig &config) {
        auto t = std::make_shared<FakeTranscriber>(config);
        if (!me)
            me = t;
        return t;
    };
    deps.findEcho = [&](const QString &, double, const QList<TranscriptSegment> &candidates) -> std::optional<TranscriptSegment> {
        candidatesSeen += int(candidates.size());
        return std::nullopt;
    };
    TranscriptionSession session(deps);
    session.startRecording(store.get());
    const QUuid meetingId = *session.meetingID();

    // 10,000 lines, alternating speakers, one every 1.5 s.
    for (int i = 0; i < 10000; ++i) {
        TranscriptSegment segment(QStringLiteral("line %1 with a few words of ordinary speech").arg(i),
                                  i % 2 ? Speaker::them() : Speaker::me(), i * 1.5);
        segment.meetingId = meetingId;
        store->insert(segment);
    }

    std::vector<double> micros;
    double offset = 15000.0;
    for (auto _ : state) {
        for (int i = 0; i < 2000; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            me->completeLine(QStringLiteral("a new line of ordinary speech number %1").arg(i), offset);
            QCoreApplication::sendPostedEvents();
            micros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
            offset += 1.5;
        }
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
    state.counters["lines"] = double(store->segmentCount(meetingId));
    benchmark::DoNotOptimize(candidatesSeen);
}
BENCHMARK(BM_AppendLineTo10kMeeting)->Iterations(1)->Unit(benchmark::kMillisecond);
