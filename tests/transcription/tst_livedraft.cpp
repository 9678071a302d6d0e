// The live draft on a real PocketSphinx decoder: spoken audio from flite, fed as the capture
// thread would, with phrase time on the fake clock.
#include "AudioFileReader.h"
#include "FakeClock.h"
#include "SpokenAudio.h"
#include "TestEnvironment.h"
#include "pocketsphinx/PocketSphinxEngine.h"
#include "pocketsphinx/PocketSphinxRecognizer.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <thread>

using namespace std::chrono_literals;

namespace {

const QString kSentence = QStringLiteral("we ship the new release on friday morning");

// Every draft handed over, and whether each came on the main thread.
struct Drafts
{
    QStringList texts;
    bool allOnMainThread = true;

    void attach(LiveDraftRecognizer &recognizer)
    {
        recognizer.onDraft = [this](const QString &text) {
            allOnMainThread = allOnMainThread && QThread::currentThread() == qApp->thread();
            texts.append(text);
        };
    }
    QString last() const { return texts.isEmpty() ? QString() : texts.last(); }
    bool heard(double share = 0.3) const { return wordsFound(kSentence, last()) >= share; }
};

// Fed in blocks of 0.1 s, like the capture thread; from another thread, to be sure that
// nothing on the way needs the main thread.
void feedFromCaptureThread(LiveDraftRecognizer &recognizer, std::span<const float> samples)
{
    std::thread capture([&] {
        for (std::size_t at = 0; at < samples.size(); at += 2400)
            recognizer.feed(samples.subspan(at, std::min<std::size_t>(2400, samples.size() - at)));
    });
    capture.join();
}

} // namespace

class TestLiveDraft : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::vector<float> m_speech; // the sentence and a second of silence after it, 24 kHz

    std::unique_ptr<PocketSphinxRecognizer> recognizer(FakeClock &clock, std::chrono::milliseconds buffered = 60s)
    {
        return std::make_unique<PocketSphinxRecognizer>(PocketSphinxModel::english(), clock, 24000.0, buffered);
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!PocketSphinxModel::english().isInstalled())
            QSKIP("pocketsphinx-en-us is not installed");
        const AudioFileReader::Result spoken = AudioFileReader::read(speechFile(m_dir.filePath(QStringLiteral("s.wav")), kSentence));
        QVERIFY2(spoken.error.isEmpty(), qPrintable(spoken.error));
        m_speech = spoken.samples;
        m_speech.resize(m_speech.size() + 24000, 0.0f);
    }

    // The words come back as they are spoken, each guess on the main thread; the utterance's
    // guess stays up through the silence after it.
    void draftsFollowSpeech()
    {
        FakeClock clock;
        auto live = recognizer(clock);
        Drafts drafts;
        drafts.attach(*live);
        live->feed(m_speech); // not running yet: nothing
        live->start();
        feedFromCaptureThread(*live, m_speech);
        QTRY_VERIFY_WITH_TIMEOUT(drafts.heard(0.5), 60000);
        QVERIFY(drafts.allOnMainThread);
        QVERIFY(!drafts.texts.contains(QString())); // no clearing without a roll-over or a stop
        QVERIFY(drafts.texts.size() > 1); // partial guesses on the way, not only the end
        QCOMPARE(live->droppedSamples(), 0u);

        live->stop();
        QCOMPARE(drafts.last(), QString());
        const qsizetype afterStop = drafts.texts.size();
        feedFromCaptureThread(*live, m_speech); // after stop, feeding does nothing
        QTest::qWait(300);
        QCOMPARE(drafts.texts.size(), afterStop);
    }

    // A phrase lasts 50 s on the wall clock, compared strictly; at the first block after it the
    // decoder starts afresh, that block is dropped and the rough text clears. An empty block
    // tests nothing.
    void phraseRollsOverAfterFiftySeconds()
    {
        FakeClock clock;
        auto live = recognizer(clock);
        Drafts drafts;
        drafts.attach(*live);
        live->start();
        feedFromCaptureThread(*live, m_speech);
        QTRY_VERIFY_WITH_TIMEOUT(drafts.heard(), 60000);

        const std::vector<float> silence(2400, 0.0f);
        clock.advance(50s);
        live->feed(silence);
        clock.advance(1ms);
        live->feed({});
        QTest::qWait(300);
        QVERIFY(!drafts.texts.contains(QString()));

        const qsizetype before = drafts.texts.size();
        live->feed(silence);
        QTRY_VERIFY_WITH_TIMEOUT(drafts.texts.size() > before && drafts.last().isEmpty(), 30000);

        // The next phrase is heard again from its start.
        feedFromCaptureThread(*live, m_speech);
        QTRY_VERIFY_WITH_TIMEOUT(drafts.heard(), 60000);
        QCOMPARE(live->droppedSamples(), 0u);
    }

    // A stop in the middle of a sentence clears the text at once, and no guess still on its
    // way from the decoder's thread brings old text back.
    void stopMidUtteranceEndsDrafts()
    {
        FakeClock clock;
        auto live = recognizer(clock);
        Drafts drafts;
        drafts.attach(*live);
        live->start();
        feedFromCaptureThread(*live, m_speech);
        QTRY_VERIFY_WITH_TIMEOUT(!drafts.texts.isEmpty(), 60000);
        live->stop();
        const qsizetype stoppedAt = drafts.texts.size();
        QCOMPARE(drafts.last(), QString());
        QTest::qWait(500);
        QCOMPARE(drafts.texts.size(), stoppedAt);
        live.reset(); // destroyed while its thread may still be decoding
        QTest::qWait(100);
    }

    // A decoder that is behind (here still loading its model) costs whole blocks, counted and
    // logged at the stop; the capture thread's feed never waits for it.
    void fallingBehindDropsBlocks()
    {
        LogRecorder log;
        FakeClock clock;
        auto live = recognizer(clock, 2s);
        live->start();
        std::vector<float> minute;
        for (int i = 0; i < 15; ++i)
            minute.insert(minute.end(), m_speech.begin(), m_speech.end());
        feedFromCaptureThread(*live, minute);
        const std::uint64_t dropped = live->droppedSamples();
        QVERIFY(dropped >= minute.size() / 2 && dropped < minute.size());
        live->stop();
        QTRY_VERIFY_WITH_TIMEOUT(log.lines().filter(QStringLiteral("[Ondel] Live draft fell behind: skipped")).size() == 1, 30000);
    }

    // Available, and authorised, exactly when the model is installed; without it a recogniser
    // does nothing.
    void availabilityFollowsTheModel_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("available");
        QTest::newRow("Debian's model") << QStringLiteral("/usr/share/pocketsphinx/model/en-us") << true;
        QTest::newRow("no model") << m_dir.filePath(QStringLiteral("none")) << false;
        QTest::newRow("model without its dictionary") << QStringLiteral("/usr/share/pocketsphinx/model") << false;
    }
    void availabilityFollowsTheModel()
    {
        QFETCH(QString, folder);
        QFETCH(bool, available);
        FakeClock clock;
        PocketSphinxEngine engine(clock, PocketSphinxModel::english(folder));
        QCOMPARE(engine.isAvailable(), available);
        std::optional<bool> answer;
        engine.authorize(this, [&answer](bool ok) { answer = ok; });
        QVERIFY(!answer); // answered later, never inside the call
        QTRY_VERIFY(answer);
        QCOMPARE(*answer, available);

        if (!available) {
            std::unique_ptr<LiveDraftRecognizer> live = engine.makeRecognizer(24000.0);
            Drafts drafts;
            drafts.attach(*live);
            live->start();
            feedFromCaptureThread(*live, m_speech);
            QTest::qWait(200);
            QVERIFY(drafts.texts.isEmpty());
            live->stop();
            QCOMPARE(drafts.texts, QStringList{QString()});
        }
    }
};

ONDEL_TEST_MAIN(TestLiveDraft)

#include "tst_livedraft.moc"
