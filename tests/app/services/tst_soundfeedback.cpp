#include "FakeClock.h"
#include "OwnSoundGate.h"
#include "PulseServer.h"
#include "SoundFeedback.h"
#include "TestEnvironment.h"
#include "pulse/PulseSoundPlayer.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QtEndian>

#include <cmath>

using namespace std::chrono_literals;

namespace {

// Remembers what it was asked to play; can be told to fail, as a player without a server does.
class RecordingPlayer final : public SoundPlayer
{
public:
    bool works = true;
    QStringList played; // "<sha-256 of the WAV>@<volume>"

    bool play(const QByteArray &wav, float volume) override
    {
        played << QString::fromLatin1(QCryptographicHash::hash(wav, QCryptographicHash::Sha256).toHex()) + QLatin1Char('@')
                + QString::number(volume);
        return works;
    }
};

// The three cue sounds, worked out independently of the code under test.
const QString kStartWav = QStringLiteral("1c882ee0bbde9b1db746389aa819e2f03c4eeec4f7730e59a14e0b91616bc3c5");
const QString kStopFirstWav = QStringLiteral("fa8798bef495a5c96dacdbecf5d9ccad92d98a16f1eb97a362e4082ccb140bb3");
const QString kStopSecondWav = QStringLiteral("e4daa81652b9e2fba94529a1962f90df686e0964cc4b42179eea06adf0cc67af");

qint16 sampleAt(const QByteArray &wav, int index)
{
    return qFromLittleEndian<qint16>(wav.constData() + 44 + 2 * index);
}

} // namespace

class TestSoundFeedback : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The three cue chords, byte for byte: header, length and every sample.
    void cueChords_data()
    {
        QTest::addColumn<QList<SoundFeedback::Tone>>("tones");
        QTest::addColumn<double>("duration");
        QTest::addColumn<bool>("fadeIn");
        QTest::addColumn<double>("pitchBend");
        QTest::addColumn<QString>("sha256");
        using T = SoundFeedback::Tone;
        QTest::newRow("start and resume") << QList<T>{{523.25, 0.5}, {659.25, 0.35}, {783.99, 0.25}} << 0.12 << true << 1.02 << kStartWav;
        QTest::newRow("stop, first") << QList<T>{{783.99, 0.4}, {523.25, 0.35}, {392.0, 0.2}} << 0.1 << false << 0.98 << kStopFirstWav;
        QTest::newRow("stop, second (0.14 s is 6174.000000000001 samples, cut to 6174)")
            << QList<T>{{523.25, 0.45}, {659.25, 0.3}, {261.63, 0.15}} << 0.14 << false << 1.0 << kStopSecondWav;
    }
    void cueChords()
    {
        QFETCH(QList<SoundFeedback::Tone>, tones);
        QFETCH(double, duration);
        QFETCH(bool, fadeIn);
        QFETCH(double, pitchBend);
        QFETCH(QString, sha256);
        const QByteArray wav = SoundFeedback::synthesize(tones, duration, fadeIn, pitchBend);
        QCOMPARE(QString::fromLatin1(QCryptographicHash::hash(wav, QCryptographicHash::Sha256).toHex()), sha256);
    }

    // At 11025 Hz every fourth sample is a crest: 0.97 × the amplitude, cut toward zero, and
    // clamped to the 16-bit range (unevenly: -32768 but 32767).
    void samplesAreCutAndClamped_data()
    {
        QTest::addColumn<double>("amplitude");
        QTest::addColumn<QList<int>>("samples");
        QTest::newRow("cut toward zero, both signs") << 0.5 << QList<int>{0, 15891, 0, -15891, 0, 15891};
        QTest::newRow("clamped") << 2.0 << QList<int>{0, 32767, 0, -32768, 0, 32767};
    }
    void samplesAreCutAndClamped()
    {
        QFETCH(double, amplitude);
        QFETCH(QList<int>, samples);
        const QByteArray wav = SoundFeedback::synthesize({{11025.0, amplitude}}, 0.01, false, 1.0);
        for (int i = 0; i < samples.size(); ++i)
            QCOMPARE(int(sampleAt(wav, i)), samples[i]);
    }

    // The fade in takes the first quarter, the fade out the second half; in between, full strength.
    void envelope_data()
    {
        QTest::addColumn<bool>("fadeIn");
        QTest::addColumn<double>("position"); // of the sound's length
        QTest::addColumn<double>("strength");
        QTest::newRow("fade in: nearly silent at first") << true << 0.01 << 0.0;
        QTest::newRow("fade in: half way, half strength") << true << 0.125 << 0.5;
        QTest::newRow("fade in: done at a quarter") << true << 0.25 << 1.0;
        QTest::newRow("no fade in: full at once") << false << 0.01 << 1.0;
        QTest::newRow("no fade in: half way out") << false << 0.75 << 0.5;
        QTest::newRow("no fade in: nearly silent at the end") << false << 0.99 << 0.0;
    }
    void envelope()
    {
        QFETCH(bool, fadeIn);
        QFETCH(double, position);
        QFETCH(double, strength);
        const double amplitude = 0.9;
        const QByteArray wav = SoundFeedback::synthesize({{11025.0, amplitude}}, 0.1, fadeIn, 1.0);
        int crest = int(position * 4410);
        crest += crest % 2 == 0 ? 1 : 0; // odd samples are the crests
        QVERIFY(std::abs(std::abs(sampleAt(wav, crest)) / (0.97 * amplitude * 32767) - strength) < 0.01);
    }

    // Which sounds each cue plays, and when; a player that fails changes nothing of that.
    void cues_data()
    {
        QTest::addColumn<int>("cue");
        QTest::addColumn<bool>("playerWorks");
        QTest::addColumn<QStringList>("atOnce");
        QTest::addColumn<QStringList>("after100ms");
        const QString start = kStartWav + QStringLiteral("@0.14");
        const QString stop1 = kStopFirstWav + QStringLiteral("@0.11");
        const QString stop2 = kStopSecondWav + QStringLiteral("@0.1");
        QTest::newRow("start") << int(SoundCues::Cue::Start) << true << QStringList{start} << QStringList{start};
        QTest::newRow("resume") << int(SoundCues::Cue::Resume) << true << QStringList{start} << QStringList{start};
        QTest::newRow("stop") << int(SoundCues::Cue::Stop) << true << QStringList{stop1} << QStringList{stop1, stop2};
        QTest::newRow("stop, no server") << int(SoundCues::Cue::Stop) << false << QStringList{stop1} << QStringList{stop1, stop2};
    }
    void cues()
    {
        QFETCH(int, cue);
        QFETCH(bool, playerWorks);
        QFETCH(QStringList, atOnce);
        QFETCH(QStringList, after100ms);
        RecordingPlayer player;
        player.works = playerWorks;
        FakeClock clock;
        SoundFeedback sounds(player, clock);
        sounds.play(SoundCues::Cue(cue));
        QCOMPARE(player.played, atOnce);
        clock.advance(99ms);
        QCOMPARE(player.played, atOnce);
        clock.advance(1ms);
        QCOMPARE(player.played, after100ms);
        clock.advance(1s);
        QCOMPARE(player.played, after100ms);
    }

    void secondStopSoundDiesWithItsOwner()
    {
        RecordingPlayer player;
        FakeClock clock;
        auto sounds = std::make_unique<SoundFeedback>(player, clock);
        sounds->playStopTone();
        sounds.reset();
        clock.advance(1s);
        QCOMPARE(player.played.size(), 1);
    }

    // Through a real sound server: heard at the chord's pitch, scaled by its volume, and marked
    // for the system recorder to leave out.
    void playsOnTheSoundServer()
    {
        PulseServer server;
        QVERIFY(server.start().isEmpty());
        QProcess monitor;
        monitor.start(QStringLiteral("parec"), {"--device=speakers.monitor", "--format=float32le", "--rate=44100", "--channels=1",
                                                 "--latency-msec=20"});
        QVERIFY(monitor.waitForStarted());
        QByteArray heard;
        connect(&monitor, &QProcess::readyReadStandardOutput, this, [&] { heard += monitor.readAllStandardOutput(); });
        QTRY_VERIFY_WITH_TIMEOUT(heard.size() > 0, 10000); // an idle null sink takes a while to run

        PulseSoundPlayer player;
        FakeClock clock;
        SoundFeedback sounds(player, clock);
        const auto samples = [&] { return std::span(reinterpret_cast<const float *>(heard.constData()), std::size_t(heard.size()) / 4); };
        const std::size_t before = samples().size();
        sounds.playChord({{1000.0, 0.8}}, 0.3, 0.5f, false, 1.0);
        QVERIFY(OwnSoundGate::shared().isAudibleNow());

        // Wait for the sound and a tenth of a second of silence after it.
        const auto loud = [](float s) { return std::abs(s) > 0.05f; };
        std::size_t first = 0, last = 0;
        QTRY_VERIFY_WITH_TIMEOUT(([&] {
                                     const auto all = samples().subspan(before);
                                     const auto begin = std::find_if(all.begin(), all.end(), loud);
                                     if (begin == all.end())
                                         return false;
                                     first = std::size_t(begin - all.begin());
                                     last = all.size() - 1 - std::size_t(std::find_if(all.rbegin(), all.rend(), loud) - all.rbegin());
                                     return all.size() > last + 4410;
                                 }()),
                                 10000);
        monitor.kill();
        monitor.waitForFinished();

        // The first half is at full strength: count its rising zero crossings, and its peak.
        const auto steady = samples().subspan(before + first + 441, 4410);
        int rising = 0;
        for (std::size_t i = 1; i < steady.size(); ++i)
            rising += steady[i - 1] < 0 && steady[i] >= 0;
        QVERIFY2(rising >= 98 && rising <= 102, qPrintable(QString::number(rising))); // 1000 Hz over 0.1 s
        const float peak = std::abs(*std::max_element(steady.begin(), steady.end(), [](float a, float b) { return std::abs(a) < std::abs(b); }));
        QVERIFY2(std::abs(peak - 0.8f * 0.986f * 0.5f) < 0.03f, qPrintable(QString::number(peak)));
        QVERIFY(last - first > 4410 * 2 && last - first <= 4410 * 3); // the fade out ends it quietly before 0.3 s
    }
};

ONDEL_TEST_MAIN(TestSoundFeedback)

#include "tst_soundfeedback.moc"
