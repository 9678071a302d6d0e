#include "OwnSoundGate.h"
#include "PulseServer.h"
#include "pulse/MicRecorder.h"
#include "pulse/PulseMicrophonePermission.h"
#include "pulse/PulseSoundPlayer.h"
#include "pulse/SystemAudioRecorder.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <mutex>
#include <vector>

namespace {

// What a recorder handed on, gathered on its capture thread.
struct Captured
{
    std::mutex mutex;
    std::vector<float> samples;
    float peak = 0;

    void attach(AudioRecorder &recorder)
    {
        recorder.setOnAudioChunk([this](std::span<const float> block) {
            std::lock_guard lock(mutex);
            samples.insert(samples.end(), block.begin(), block.end());
            for (const float s : block)
                peak = std::max(peak, std::abs(s));
        });
    }
    std::size_t count()
    {
        std::lock_guard lock(mutex);
        return samples.size();
    }
    float loudest()
    {
        std::lock_guard lock(mutex);
        return peak;
    }
};

} // namespace

class TestPulseRecorders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // No microphone, whatever is missing: it fails alike and the permission says so.
    void withoutAMicrophone_data()
    {
        QTest::addColumn<int>("server"); // 0: none, 1: one without devices, 2: its default input is a monitor
        QTest::addColumn<QString>("systemError"); // its start; null: system audio records
        QTest::newRow("no server") << 0 << "Failed to start capture (status: ";
        QTest::newRow("no devices at all") << 1 << "No output audio device found";
        QTest::newRow("default input is a monitor") << 2 << QString();
    }
    void withoutAMicrophone()
    {
        QFETCH(int, server);
        QFETCH(QString, systemError);
        PulseServer pulse; // puts PULSE_SERVER back when it goes
        if (server == 0) {
            qputenv("PULSE_SERVER", "unix:/nonexistent/ondel-test/native");
        } else {
            const QString why = pulse.start({.withDevices = server == 2, .micIsMonitor = server == 2});
            QVERIFY2(why.isEmpty(), qPrintable(why));
        }

        MicRecorder mic;
        const auto micFailure = mic.start();
        QCOMPARE(micFailure ? micFailure->description : QString(), QStringLiteral("Invalid audio format"));
        QCOMPARE(PulseMicrophonePermission().status(), MicrophonePermission::Status::Denied);
        SystemAudioRecorder system;
        const auto systemFailure = system.start();
        const QString got = systemFailure ? systemFailure->description : QString();
        QVERIFY2(systemError.isNull() ? got.isNull() : got.startsWith(systemError), qPrintable(got));
        mic.stop(); // harmless after a failed start
        system.stop();
    }

    void capturesBothStreamsApart()
    {
        PulseServer server;
        const QString why = server.start();
        QVERIFY2(why.isEmpty(), qPrintable(why));
        QCOMPARE(PulseMicrophonePermission().status(), MicrophonePermission::Status::Authorized);

        MicRecorder mic;
        SystemAudioRecorder system;
        Captured fromMic, fromSystem;
        fromMic.attach(mic);
        fromSystem.attach(system);
        QVERIFY(!mic.start());
        QVERIFY(!system.start());

        QVERIFY(server.play(server.tone(0.6, 440), QStringLiteral("speakers")));
        QTRY_VERIFY(fromSystem.loudest() > 0.2);
        QVERIFY(system.level() >= 0.0f && system.level() <= 1.0f);
        // What plays never reaches the microphone: the streams stay apart.
        QTRY_VERIFY(fromMic.count() > 0);
        QVERIFY(fromMic.loudest() < 0.01);

        // The meter moves while the voice plays.
        QProcess voice;
        voice.start(QStringLiteral("paplay"), {QStringLiteral("--device=mic_feed"), server.tone(3, 660)});
        QTRY_VERIFY(mic.level() > 0.5f);
        voice.kill();
        voice.waitForFinished();
        QVERIFY(fromMic.loudest() > 0.2);

        mic.stop();
        system.stop();
        QCOMPARE(mic.level(), 0.0f);
        QCOMPARE(system.level(), 0.0f);
    }

    void ownSoundsNeverReachTheSystemStream()
    {
        PulseServer server;
        QVERIFY(server.start().isEmpty());
        SystemAudioRecorder system;
        Captured captured;
        captured.attach(system);
        QVERIFY(!system.start());
        // A loud chord of half a second, played the way the app plays its cues.
        std::vector<float> chord(PulseSoundPlayer::rate / 2);
        for (std::size_t i = 0; i < chord.size(); ++i)
            chord[i] = 0.4f * std::sin(2.0f * 3.14159265f * 523.0f * float(i) / PulseSoundPlayer::rate);
        PulseSoundPlayer player;
        QVERIFY(player.play(chord));
        // An idle null sink takes a while to start playing; the monitor flows from then on.
        QTRY_VERIFY_WITH_TIMEOUT(captured.count() > 0, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(!OwnSoundGate::shared().isAudibleNow(), 10000); // played out
        QTest::qWait(300); // and whatever the monitor still held has come through
        QCOMPARE(captured.loudest(), 0.0f);

        // Someone else's sound still comes through.
        QVERIFY(server.play(server.tone(0.5, 440), QStringLiteral("speakers")));
        QTRY_VERIFY(captured.loudest() > 0.2);
        system.stop();
    }

    void serverDyingMidRecordingLeavesSilence()
    {
        PulseServer server;
        QVERIFY(server.start().isEmpty());
        MicRecorder mic;
        SystemAudioRecorder system;
        Captured captured;
        captured.attach(system);
        QVERIFY(!mic.start());
        QVERIFY(!system.start());
        QTRY_VERIFY(captured.count() > 0);

        server.kill();
        QTRY_VERIFY(!system.isAlive());
        const std::size_t before = captured.count();
        QTest::qWait(200); // no more audio arrives, and nothing crashes meanwhile
        QCOMPARE(captured.count(), before);

        QElapsedTimer clock;
        clock.start();
        mic.stop();
        system.stop();
        QVERIFY(clock.elapsed() < 5000); // stop never waits on a dead server
    }
};

QTEST_GUILESS_MAIN(TestPulseRecorders)
#include "tst_pulserecorders.moc"
