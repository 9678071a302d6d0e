#include "OwnSoundGate.h"
#include "PulseServer.h"
#include "TestEnvironment.h"
#include "pulse/MicRecorder.h"
#include "pulse/PulseMicrophonePermission.h"
#include "pulse/PulseSoundPlayer.h"
#include "pulse/SystemAudioRecorder.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
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
    void forgetPeak()
    {
        std::lock_guard lock(mutex);
        peak = 0;
    }
};

enum class Change {
    OutputSwitched, // a new default output, headphones plugged in
    OutputUnplugged, // the output in use goes away
    MicUnplugged, // the only microphone goes away, and a new one comes later
    NewDefaultInput, // a headset's microphone becomes the default input
    InputSetToMonitor, // the user makes a monitor the default input
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

    // Each stream records the default of its kind now, and only of its kind, on both servers.
    void followsTheDefaults_data()
    {
        QTest::addColumn<PulseServer::Kind>("kind");
        QTest::addColumn<Change>("change");
        for (const auto &[kind, server] : {std::pair{PulseServer::Kind::PulseAudio, "PulseAudio"}, std::pair{PulseServer::Kind::PipeWire, "PipeWire"}}) {
            QTest::addRow("%s: output switched", server) << kind << Change::OutputSwitched;
            QTest::addRow("%s: output unplugged", server) << kind << Change::OutputUnplugged;
            QTest::addRow("%s: mic unplugged, another comes", server) << kind << Change::MicUnplugged;
            QTest::addRow("%s: new default input", server) << kind << Change::NewDefaultInput;
            QTest::addRow("%s: input set to a monitor", server) << kind << Change::InputSetToMonitor;
        }
    }
    void followsTheDefaults()
    {
        QFETCH(PulseServer::Kind, kind);
        QFETCH(Change, change);
        if (!PulseServer::isInstalled(kind))
            QSKIP("this sound server is not installed");
        PulseServer server;
        const QString why = server.start({.kind = kind});
        QVERIFY2(why.isEmpty(), qPrintable(why));
        const auto pactl = [&](const QString &command) { return server.pactl(command.split(QLatin1Char(' '))); };
        // A second output, and a headset's microphone fed like the first one.
        QVERIFY(!pactl(QStringLiteral("load-module module-null-sink sink_name=headphones")).isNull());
        QVERIFY(!pactl(QStringLiteral("load-module module-null-sink sink_name=headset_feed")).isNull());
        QVERIFY(!pactl(QStringLiteral("load-module module-remap-source master=headset_feed.monitor source_name=headset_mic")).isNull());
        QTRY_COMPARE(server.defaultSource(), QStringLiteral("mic"));

        LogRecorder log;
        MicRecorder mic;
        SystemAudioRecorder system;
        Captured fromMic, fromSystem;
        fromMic.attach(mic);
        fromSystem.attach(system);
        QVERIFY(!mic.start());
        QVERIFY(!system.start());
        QTRY_VERIFY(fromMic.count() > 0 && fromSystem.count() > 0);
        QElapsedTimer recording;
        recording.start();
        const std::size_t micBefore = fromMic.count(), systemBefore = fromSystem.count();

        const qint64 changedAt = log.now();
        const auto moduleOf = [&](const QString &argument) {
            for (const QString &line : pactl(QStringLiteral("list short modules")).split(QLatin1Char('\n'))) {
                if (line.contains(argument))
                    return line.section(QLatin1Char('\t'), 0, 0);
            }
            return QString();
        };
        QString switchLine; // the one log line the change makes
        QString themSink = QStringLiteral("speakers"); // where the other side plays afterwards
        QString meFeed = QStringLiteral("mic_feed"); // and where the user speaks; empty: nowhere
        AudioRecorder::Silence meSilence = AudioRecorder::Silence::None;
        switch (change) {
        case Change::OutputSwitched:
            QTRY_VERIFY(!pactl(QStringLiteral("set-default-sink headphones")).isNull());
            themSink = QStringLiteral("headphones");
            switchLine = QStringLiteral("System audio switched to \"headphones.monitor\"");
            break;
        case Change::OutputUnplugged:
            QVERIFY(!pactl(QStringLiteral("unload-module ") + moduleOf(QStringLiteral("sink_name=speakers"))).isNull());
            // Whichever the server picks in its place.
            QTRY_VERIFY(!server.defaultSink().isEmpty() && server.defaultSink() != QLatin1String("speakers"));
            themSink = server.defaultSink();
            switchLine = QStringLiteral("System audio switched to \"%1.monitor\"").arg(QRegularExpression::escape(themSink));
            break;
        case Change::MicUnplugged:
            // The headset's microphone goes first, so that no real input is left at all.
            QVERIFY(!pactl(QStringLiteral("unload-module ") + moduleOf(QStringLiteral("source_name=headset_mic"))).isNull());
            QVERIFY(!pactl(QStringLiteral("unload-module ") + moduleOf(QStringLiteral("source_name=mic"))).isNull());
            meFeed.clear();
            meSilence = AudioRecorder::Silence::NoDevice;
            switchLine = QStringLiteral("Mic silent: no input device");
            break;
        case Change::NewDefaultInput:
            QTRY_VERIFY(!pactl(QStringLiteral("set-default-source headset_mic")).isNull());
            meFeed = QStringLiteral("headset_feed");
            switchLine = QStringLiteral("Mic switched to \"headset_mic\"");
            break;
        case Change::InputSetToMonitor:
            QTRY_VERIFY(!pactl(QStringLiteral("set-default-source headphones.monitor")).isNull());
            meFeed.clear();
            meSilence = AudioRecorder::Silence::WrongKindOfDevice;
            switchLine = QStringLiteral("Mic silent: the default input \"headphones.monitor\" is a monitor");
            break;
        }
        QTRY_COMPARE_WITH_TIMEOUT(log.times(switchLine, changedAt).size(), 1, 5000);
        const qint64 latency = log.times(switchLine, changedAt).first() - changedAt;
        qInfo("switched in %lld ms", latency);
        QVERIFY2(latency < 1000, qPrintable(QString::number(latency)));
        QCOMPARE(mic.silence(), meSilence);
        QCOMPARE(system.silence(), AudioRecorder::Silence::None);

        // The other side is heard as "Them", and never as "Me".
        fromMic.forgetPeak();
        fromSystem.forgetPeak();
        QVERIFY(server.play(server.tone(0.6, 440), themSink));
        QTRY_VERIFY(fromSystem.loudest() > 0.2);
        // (Unless the server chose the microphone's feed as the new output.)
        if (themSink == meFeed)
            meFeed.clear();
        else
            QVERIFY2(fromMic.loudest() < 0.01, qPrintable(QString::number(fromMic.loudest())));
        // The user is heard as "Me" if a microphone is there, and never as "Them". The tone's tail
        // reaches the system stream a capture fragment or more after paplay returns: it ends first.
        QVERIFY(QTest::qWaitFor([&] {
            fromSystem.forgetPeak();
            QTest::qWait(150);
            return fromSystem.loudest() < 0.01;
        }, 5000));
        if (!meFeed.isEmpty()) {
            QVERIFY(server.play(server.tone(0.6, 660), meFeed));
            QTRY_VERIFY(fromMic.loudest() > 0.2);
            QVERIFY2(fromSystem.loudest() < 0.01, qPrintable(QString::number(fromSystem.loudest())));
        }

        if (change == Change::MicUnplugged) {
            // A new microphone that becomes the default is taken up.
            QVERIFY(!pactl(QStringLiteral("load-module module-remap-source master=headset_feed.monitor source_name=new_mic")).isNull());
            QTRY_VERIFY(!pactl(QStringLiteral("set-default-source new_mic")).isNull());
            QTRY_COMPARE_WITH_TIMEOUT(log.times(QStringLiteral("Mic switched to \"new_mic\""), changedAt).size(), 1, 5000);
            QCOMPARE(mic.silence(), AudioRecorder::Silence::None);
            fromMic.forgetPeak();
            QVERIFY(server.play(server.tone(0.6, 660), QStringLiteral("headset_feed")));
            QTRY_VERIFY(fromMic.loudest() > 0.2);
        }

        // Both clocks kept time through the change: every stream's samples still match the time
        // it has run, to within a fragment or two.
        const double elapsed = recording.elapsed() / 1000.0;
        for (const auto &[captured, before] : {std::pair{&fromMic, micBefore}, std::pair{&fromSystem, systemBefore}}) {
            const double counted = double(captured->count() - before) / PulseSoundPlayer::rate;
            QVERIFY2(std::abs(counted - elapsed) < 0.35, qPrintable(QStringLiteral("%1 s of audio in %2 s").arg(counted).arg(elapsed)));
        }
        mic.stop();
        system.stop();
        QCOMPARE(mic.silence(), AudioRecorder::Silence::None);
    }

    // The streams stay apart, the meter moves, and a server that dies mid-recording leaves
    // silence and a stop that does not wait on it.
    void capturesApartUntilTheServerDies()
    {
        PulseServer server;
        QVERIFY(server.start().isEmpty());
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
        QTRY_VERIFY(fromMic.count() > 0);
        QVERIFY(fromMic.loudest() < 0.01);
        QProcess voice;
        voice.start(QStringLiteral("paplay"), {QStringLiteral("--device=mic_feed"), server.tone(3, 660)});
        QTRY_VERIFY(mic.level() > 0.5f);
        voice.kill();
        voice.waitForFinished();

        server.kill();
        QTRY_VERIFY(!system.isAlive());
        const std::size_t before = fromSystem.count();
        QTest::qWait(200); // no more audio arrives, and nothing crashes meanwhile
        QCOMPARE(fromSystem.count(), before);
        QElapsedTimer clock;
        clock.start();
        mic.stop();
        system.stop();
        QVERIFY(clock.elapsed() < 5000);
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
};

QTEST_GUILESS_MAIN(TestPulseRecorders)
#include "tst_pulserecorders.moc"
