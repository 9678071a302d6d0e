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
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <csignal>
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

double cpuSecondsOf(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    // Fields after the command's closing parenthesis; utime and stime are the 14th and 15th.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return double(fields.value(11).toLongLong() + fields.value(12).toLongLong()) / double(sysconf(_SC_CLK_TCK));
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
// not counted). Targets: under 0.3 CPU seconds per minute of audio, under 40 MB resident.
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
    auto cli = [](const QStringList &args, const QByteArray &input = {}) {
        QProcess p;
        p.start(QStringLiteral(ONDEL_CLI_PATH), args);
        p.write(input);
        p.closeWriteChannel();
        p.waitForFinished(60000);
        return p.exitCode();
    };
    cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("vrelDirectBase"), stt.url().toString()});
    cli({QStringLiteral("key"), QStringLiteral("set")}, "sk-bench\n");
    // Two seconds of a voice-like sound, then a second of quiet, over and over.
    const QString talk = pulse.tone(2, 220, 0.3);

    for (auto _ : state) {
        QProcess record;
        record.start(QStringLiteral(ONDEL_CLI_PATH), {QStringLiteral("record"), QStringLiteral("--seconds"), QStringLiteral("600")});
        record.waitForStarted();
        spin(1000);
        const double cpuBefore = cpuSecondsOf(record.processId());
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
        const double seconds = minute.elapsed() / 1000.0;
        state.counters["cpu_s_per_audio_min"] = (cpuSecondsOf(record.processId()) - cpuBefore) / (seconds / 60.0);
        state.counters["peak_rss_mb"] = peakResidentMegabytes(record.processId());
        state.counters["uploads"] = stt.requestCount();
        ::kill(pid_t(record.processId()), SIGINT);
        while (record.state() != QProcess::NotRunning)
            spin(50);
    }
}
BENCHMARK(BM_RecordOneMinuteOfBothStreams)->Iterations(1)->Unit(benchmark::kSecond);

// From the end of an utterance's audio (the silent chunk that closes it) to its line in the
// store: WAV and request building, the upload on loopback, the answer's rules, the hand-over to
// the main thread, the echo check and the insert, less the server's own time. Target: under
// 50 ms at the median.
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
            for (int i = 0; i < 7; ++i)
                mic.play(silence);
            QElapsedTimer since;
            since.start();
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
