#include "DualStreamMixer.h"
#include "SessionDoubles.h"
#include "TestEnvironment.h"

#include <QTest>

#include <vector>

namespace {

std::vector<float> tone(std::size_t count, float level)
{
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = level * float(int(i % 97) - 48) / 48.0f;
    return samples;
}

void collectLengths(AudioChunker &chunker, QList<int> *lengths)
{
    chunker.setOnChunkReady([lengths](QByteArrayView chunk) {
        lengths->append(int(chunk.size() / 2));
    });
}

const QString kBoth = QStringLiteral("[Ondel] Dual stream: mic + system audio active");
const QString kPaused = QStringLiteral("[Ondel] Dual stream paused");
const QString kResumed = QStringLiteral("[Ondel] Dual stream resumed");
const QString kStopped = QStringLiteral("[Ondel] Dual stream stopped");

} // namespace

class TestDualStreamMixer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stateRules_data()
    {
        QTest::addColumn<QStringList>("operations");
        QTest::addColumn<bool>("running");
        QTest::addColumn<bool>("paused");
        QTest::addColumn<int>("starts");
        QTest::addColumn<int>("stops");
        QTest::addColumn<QStringList>("lines");

        QTest::newRow("nothing before start") << QStringList{"pause", "resume", "stop"} << false << false << 0 << 0 << QStringList{};
        QTest::newRow("start twice") << QStringList{"start", "start"} << true << false << 1 << 0 << QStringList{kBoth};
        QTest::newRow("pause twice") << QStringList{"start", "pause", "pause"} << true << true << 1 << 0 << QStringList{kBoth, kPaused};
        QTest::newRow("resume without pause") << QStringList{"start", "resume"} << true << false << 1 << 0 << QStringList{kBoth};
        QTest::newRow("pause again after resume") << QStringList{"start", "pause", "resume", "pause"} << true << true << 1 << 0
                                                  << QStringList{kBoth, kPaused, kResumed, kPaused};
        QTest::newRow("stop from paused") << QStringList{"start", "pause", "stop", "stop"} << false << false << 1 << 1
                                          << QStringList{kBoth, kPaused, kStopped};
        QTest::newRow("start after stop") << QStringList{"start", "stop", "start"} << true << false << 2 << 1
                                          << QStringList{kBoth, kStopped, kBoth};
    }
    void stateRules()
    {
        QFETCH(QStringList, operations);
        QFETCH(bool, running);
        QFETCH(bool, paused);
        QFETCH(int, starts);
        QFETCH(int, stops);
        QFETCH(QStringList, lines);

        LogRecorder log;
        SampleRecorder mic, system;
        DualStreamMixer mixer(&mic, &system);
        for (const QString &operation : operations) {
            if (operation == u"start")
                QVERIFY(!mixer.start());
            else if (operation == u"pause")
                mixer.pause();
            else if (operation == u"resume")
                mixer.resume();
            else
                mixer.stop();
        }

        QCOMPARE(mixer.isRunning(), running);
        QCOMPARE(mixer.isPaused(), paused);
        QVERIFY(mixer.systemAudioAvailable());
        for (const SampleRecorder *recorder : {&mic, &system}) {
            QCOMPARE(recorder->starts, starts);
            QCOMPARE(recorder->stops, stops);
            // Audio reaches the mixer exactly while running and not paused.
            QCOMPARE(recorder->hasOnAudioChunk(), running && !paused);
        }
        QCOMPARE(log.lines(), lines);
    }

    void micFailureStartsNothing()
    {
        LogRecorder log;
        SampleRecorder mic, system;
        mic.failure = RecorderError{QStringLiteral("Microphone access denied.")};
        DualStreamMixer mixer(&mic, &system);

        const auto error = mixer.start();
        QCOMPARE(error ? error->description : QString(), QStringLiteral("Microphone access denied."));
        QVERIFY(!mixer.isRunning());
        QCOMPARE(system.starts, 0);
        QVERIFY(!mic.hasOnAudioChunk() && !system.hasOnAudioChunk());
        mixer.stop();
        QCOMPARE(mic.stops, 0);
        QVERIFY(log.lines().isEmpty());
    }

    void systemFailureRunsMicOnly()
    {
        LogRecorder log;
        SampleRecorder mic, system;
        system.failure = RecorderError{QStringLiteral("No capture permission")};
        DualStreamMixer mixer(&mic, &system);
        QList<int> micChunks;
        collectLengths(mixer.micChunker(), &micChunks);

        QVERIFY(!mixer.start());
        QVERIFY(mixer.isRunning());
        QVERIFY(!mixer.systemAudioAvailable());
        QCOMPARE(log.lines(), QStringList{"[Ondel] System audio unavailable: No capture permission. Running mic-only mode."});

        mixer.pause();
        mixer.resume();
        QVERIFY(!system.hasOnAudioChunk());
        mic.play(tone(2400, 0.3f));
        mixer.stop();
        QCOMPARE(micChunks, QList<int>{2400});
        QCOMPARE(system.starts, 1);
        QCOMPARE(system.stops, 0);

        // The next recording tries the system recorder again.
        system.failure.reset();
        QVERIFY(!mixer.start());
        QVERIFY(mixer.systemAudioAvailable());
    }

    // What plays during a pause is dropped, a chunk begun before it goes on after it, and the
    // live draft ends with the pause; stop flushes each stream, the session's own later flush
    // still reaches its callback, and a new recording forwards the draft again.
    void pauseResumeAndStop()
    {
        SampleRecorder mic, system;
        DualStreamMixer mixer(&mic, &system);
        qsizetype micSamples = 0, systemSamples = 0;
        mixer.setOnMicSamples([&](std::span<const float> samples) { micSamples += qsizetype(samples.size()); });
        mixer.setOnSystemSamples([&](std::span<const float> samples) { systemSamples += qsizetype(samples.size()); });
        QList<QByteArray> micChunks;
        mixer.micChunker().setOnChunkReady([&](QByteArrayView chunk) { micChunks.append(chunk.toByteArray()); });
        QList<int> systemChunks;
        collectLengths(mixer.systemChunker(), &systemChunks);
        const std::vector<float> speech = tone(3000, 0.6f);

        QVERIFY(!mixer.start());
        mic.play(std::span(speech).first(1000));
        system.play(tone(700, 0.4f));
        mixer.pause();
        mic.play(tone(5000, 0.9f));
        system.play(tone(2400, 0.9f));
        mixer.resume();
        mic.play(std::span(speech).subspan(1000));
        QCOMPARE(micSamples, 1000);
        QCOMPARE(systemSamples, 700);
        mixer.stop();
        const std::span<const float> heard(speech);
        QCOMPARE(micChunks, (QList<QByteArray>{AudioChunker::toPcm16(heard.first(2400)), AudioChunker::toPcm16(heard.subspan(2400))}));
        QCOMPARE(systemChunks, QList<int>{700});

        mixer.micChunker().feed(tone(10, 0.4f));
        mixer.micChunker().flush();
        QCOMPARE(micChunks.size(), 3);

        QVERIFY(!mixer.start());
        mic.play(speech);
        system.play(speech);
        QCOMPARE(micSamples, 4000);
        QCOMPARE(systemSamples, 3700);
    }
};

ONDEL_TEST_MAIN(TestDualStreamMixer)

#include "tst_dualstreammixer.moc"
