#include "DualStreamMixer.h"
#include "OndelStore.h"
#include "PulseServer.h"
#include "SecretServiceFixture.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "TestHttpServer.h"
#include "TranscriptionSession.h"
#include "VrelTranscriber.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <memory>
#include <unistd.h>

#ifndef ONDEL_CLI_PATH
#error "ONDEL_CLI_PATH names the ondel-cli to measure"
#endif

namespace {

// A speech-to-text server that answers at once, each time with another sentence.
void answerAtOnce(TestHttpServer &server)
{
    server.setHandler([n = 0](const TestHttpServer::Request &) mutable {
        const QByteArray text = "this is sentence number " + QByteArray::number(++n) + " of the meeting";
        return TestHttpServer::Reply::json(R"({"text":")" + text + R"(","segments":[{"text":")" + text
                                           + R"(","avg_logprob":-0.2,"no_speech_prob":0.01,"compression_ratio":1.2}]})");
    });
}

void spin(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// CPU seconds of each thread of a process, by thread id. The scheduler counts in nanoseconds,
// where the process's own figure comes in 10 ms ticks: too coarse for clients that use a few
// ticks a minute.
QHash<QString, double> threadCpuSeconds(qint64 pid)
{
    QHash<QString, double> seconds;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString &tid : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile stat(tasks + QLatin1Char('/') + tid + QStringLiteral("/schedstat"));
        if (stat.open(QIODevice::ReadOnly))
            seconds.insert(tid, stat.readAll().split(' ').value(0).toDouble() / 1e9);
    }
    return seconds;
}

// What the threads alive now used since `before`.
double cpuSecondsSince(qint64 pid, const QHash<QString, double> &before)
{
    double sum = 0;
    for (const auto &[tid, seconds] : threadCpuSeconds(pid).asKeyValueRange())
        sum += seconds - before.value(tid, 0);
    return sum;
}

double peakResidentMegabytes(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    return -1;
}

} // namespace

// `ondel-cli record` for a minute of both streams with speech in turns, against a private
// PulseAudio server and a speech-to-text server that answers at once (so that its own time is
// not counted), side by side with two plain `parecord` clients that capture the same two streams
// in the same format at the same 100 ms latency: the floor for this capture on this server.
// Targets: at most 1.3 times the pair's CPU, at most 28 MB resident at the peak.
// With ONDEL_BENCH_BASELINE_CLI naming another build of ondel-cli, that one records beside, in
// folders of its own, so that a change is compared under the same load ("baseline_" counters).
static void BM_RecordOneMinuteOfBothStreams(benchmark::State &state)
{
    SecretServiceFixture keyring;
    PulseServer pulse;
    TestHttpServer stt;
    answerAtOnce(stt);
    if (!keyring.error().isEmpty() || !pulse.start().isEmpty()) {
        state.SkipWithError("no keyring or sound server");
        return;
    }
    const QString baselineCli = qEnvironmentVariable("ONDEL_BENCH_BASELINE_CLI");
    QTemporaryDir baselineHome;
    QProcessEnvironment baselineEnv = QProcessEnvironment::systemEnvironment();
    baselineEnv.insert(QStringLiteral("XDG_DATA_HOME"), baselineHome.filePath(QStringLiteral("data")));
    baselineEnv.insert(QStringLiteral("XDG_CONFIG_HOME"), baselineHome.filePath(QStringLiteral("config")));
    auto cli = [&](const QStringList &args, const QByteArray &input = {}, const QString &program = QStringLiteral(ONDEL_CLI_PATH)) {
        QProcess p;
        if (program != QStringLiteral(ONDEL_CLI_PATH))
            p.setProcessEnvironment(baselineEnv);
        p.start(program, args);
        p.write(input);
        p.closeWriteChannel();
        p.waitForFinished(60000);
        return p.exitCode();
    };
    cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("vrelDirectBase"), stt.url().toString()});
    cli({QStringLiteral("key"), QStringLiteral("set")}, "sk-bench\n");
    if (!baselineCli.isEmpty()) {
        cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("vrelDirectBase"), stt.url().toString()}, {}, baselineCli);
        cli({QStringLiteral("key"), QStringLiteral("set")}, "sk-bench\n", baselineCli);
    }
    // Two seconds of a voice-like sound, then a second of quiet, over and over.
    const QString talk = pulse.tone(2, 220, 0.3);
    auto parecord = [](const QString &device) {
        auto p = std::make_unique<QProcess>();
        p->start(QStringLiteral("parecord"), {QStringLiteral("--raw"), QStringLiteral("--rate=24000"), QStringLiteral("--channels=1"),
                                              QStringLiteral("--format=float32le"), QStringLiteral("--latency-msec=100"),
                                              QStringLiteral("--device=") + device, QStringLiteral("/dev/null")});
        p->waitForStarted();
        return p;
    };

    for (auto _ : state) {
        QProcess record;
        record.start(QStringLiteral(ONDEL_CLI_PATH), {QStringLiteral("record"), QStringLiteral("--seconds"), QStringLiteral("600")});
        record.waitForStarted();
        QProcess baseline;
        if (!baselineCli.isEmpty()) {
            baseline.setProcessEnvironment(baselineEnv);
            baseline.start(baselineCli, {QStringLiteral("record"), QStringLiteral("--seconds"), QStringLiteral("600")});
            baseline.waitForStarted();
        }
        const std::unique_ptr<QProcess> pair[] = {parecord(QStringLiteral("mic")), parecord(QStringLiteral("speakers.monitor"))};
        spin(1000);
        const QHash<QString, double> cpuBefore = threadCpuSeconds(record.processId());
        const QHash<QString, double> baselineBefore = threadCpuSeconds(baseline.processId());
        const QHash<QString, double> pairBefore[] = {threadCpuSeconds(pair[0]->processId()), threadCpuSeconds(pair[1]->processId())};
        QElapsedTimer minute;
        minute.start();
        bool themTurn = true;
        while (minute.elapsed() < 60000) {
            QProcess play;
            play.start(QStringLiteral("paplay"), {themTurn ? QStringLiteral("--device=speakers") : QStringLiteral("--device=mic_feed"), talk});
            while (play.state() != QProcess::NotRunning)
                spin(50);
            spin(1000);
            themTurn = !themTurn;
        }
        const double minutes = minute.elapsed() / 60000.0;
        const double cpu = cpuSecondsSince(record.processId(), cpuBefore) / minutes;
        const double pairCpu = (cpuSecondsSince(pair[0]->processId(), pairBefore[0]) + cpuSecondsSince(pair[1]->processId(), pairBefore[1])) / minutes;
        const double rss = peakResidentMegabytes(record.processId());
        const double pairRss = peakResidentMegabytes(pair[0]->processId()) + peakResidentMegabytes(pair[1]->processId());
        state.counters["cpu_s_per_audio_min"] = cpu;
        state.counters["parecord_pair_cpu_s_per_audio_min"] = pairCpu;
        state.counters["cpu_ratio_to_pair"] = pairCpu > 0 ? cpu / pairCpu : 0;
        state.counters["peak_rss_mb"] = rss;
        state.counters["parecord_pair_peak_rss_mb"] = pairRss;
        state.counters["rss_ratio_to_pair"] = pairRss > 0 ? rss / pairRss : 0;
        state.counters["uploads"] = stt.requestCount();
        if (!baselineCli.isEmpty()) {
            const double baselineCpu = cpuSecondsSince(baseline.processId(), baselineBefore) / minutes;
            state.counters["baseline_cpu_s_per_audio_min"] = baselineCpu;
            state.counters["baseline_cpu_ratio_to_pair"] = pairCpu > 0 ? baselineCpu / pairCpu : 0;
            state.counters["baseline_peak_rss_mb"] = peakResidentMegabytes(baseline.processId());
        }
        for (const auto &p : pair) {
            p->terminate();
            p->waitForFinished(5000);
        }
        for (QProcess *p : {&record, &baseline}) {
            if (p->state() == QProcess::NotRunning)
                continue;
            ::kill(pid_t(p->processId()), SIGINT);
            while (p->state() != QProcess::NotRunning)
                spin(50);
        }
    }
}
BENCHMARK(BM_RecordOneMinuteOfBothStreams)->Iterations(1)->Unit(benchmark::kSecond);

// From the end of an utterance's audio (the silent chunk that closes it) to its line in the
// store: WAV and request building, the upload on loopback, the answer's rules, the hand-over to
// the main thread, the echo check and the insert, less the server's own time. The uploads go
// with Nagle's algorithm off, so nothing waits for the server's delayed acknowledgement.
// Target: a few milliseconds at the median.
static void BM_UtteranceEndToStoredLine(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    Settings settings(dir.filePath(QStringLiteral("settings.json")));
    TestHttpServer stt;
    double serverMs = 0;
    stt.setHandler([&, n = 0](const TestHttpServer::Request &) mutable {
        QElapsedTimer t;
        t.start();
        const QByteArray text = "this is sentence number " + QByteArray::number(++n);
        auto reply = TestHttpServer::Reply::json(R"({"text":")" + text + R"(","segments":[{"text":")" + text
                                                 + R"(","avg_logprob":-0.2,"no_speech_prob":0.01,"compression_ratio":1.2}]})");
        serverMs = t.nsecsElapsed() / 1e6;
        return reply;
    });
    SampleRecorder mic, system;
    DualStreamMixer mixer(&mic, &system);
    FakeMicrophonePermission permission;
    FakeCredentials credentials;
    credentials.credentials = ModelCredentials{stt.url(), QStringLiteral("sk-bench"), false};
    SessionDependencies deps;
    deps.mixer = &mixer;
    deps.settings = &settings;
    deps.clock = &Clock::system();
    deps.microphone = &permission;
    deps.credentials = &credentials;
    deps.makeTranscriber = VrelTranscriber::factory(Clock::system(), settings);
    TranscriptionSession session(deps);
    session.startRecording(store.get());

    std::vector<float> speech(2400), silence(2400, 0.0f);
    for (std::size_t i = 0; i < speech.size(); ++i)
        speech[i] = 0.2f * std::sin(2.0f * 3.14159265f * 220.0f * float(i) / 24000.0f);
    std::vector<double> millis;
    for (auto _ : state) {
        for (int utterance = 0; utterance < 30; ++utterance) {
            for (int i = 0; i < 10; ++i)
                mic.play(speech);
            int stored = 0;
            QMetaObject::Connection c = QObject::connect(store.get(), &OndelStore::segmentAdded, [&] { ++stored; });
            for (int i = 0; i < 6; ++i)
                mic.play(silence);
            // The seventh silent chunk closes the utterance: the clock starts before it is fed.
            QElapsedTimer since;
            since.start();
            mic.play(silence);
            while (stored == 0 && since.elapsed() < 10000)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            millis.push_back(since.nsecsElapsed() / 1e6 - serverMs);
            QObject::disconnect(c);
        }
    }
    session.stopRecording();
    std::sort(millis.begin(), millis.end());
    state.counters["median_ms"] = millis[millis.size() / 2];
    state.counters["max_ms"] = millis.back();
}
BENCHMARK(BM_UtteranceEndToStoredLine)->Iterations(1)->Unit(benchmark::kMillisecond);
