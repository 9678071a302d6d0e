#include "DualStreamMixer.h"
#include "EchoSuppressor.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "TestEnvironment.h"
#include "TranscriberRig.h"
#include "TranscriptionSession.h"
#include "Uuid.h"

#include <QSignalSpy>

#include <vector>

namespace {

QByteArray verboseJson(const QByteArray &text)
{
    return "{\"task\":\"transcribe\",\"language\":\"english\",\"duration\":1.7,\"text\":\" " + text + "\",\"segments\":[{\"id\":0,\"start\":0.0,"
           "\"end\":1.5,\"text\":\" " + text + "\",\"avg_logprob\":-0.21,\"compression_ratio\":1.1,\"no_speech_prob\":0.01}]}";
}

// From the recorders' samples to stored lines: the real session, transcribers, echo suppressor
// and store, and a local speech-to-text server.
struct FlowRig
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    Settings settings{dir.filePath(QStringLiteral("settings.json"))};
    TestHttpServer server;
    FakeClock clock;
    SampleRecorder mic, system;
    DualStreamMixer mixer{&mic, &system};
    FakeMicrophonePermission permission;
    FakeCredentials credentials;
    std::unique_ptr<TranscriptionSession> session;
    QUuid meeting;

    FlowRig()
    {
        credentials.credentials = ModelCredentials{server.url(), QStringLiteral("test-key"), false};
        SessionDependencies deps;
        deps.mixer = &mixer;
        deps.settings = &settings;
        deps.clock = &clock;
        deps.microphone = &permission;
        deps.credentials = &credentials;
        deps.makeTranscriber = VrelTranscriber::factory(clock, settings);
        deps.findEcho = &EchoSuppressor::duplicate;
        session = std::make_unique<TranscriptionSession>(deps);
    }
    void start()
    {
        session->startRecording(store.get());
        meeting = session->meetingID().value_or(QUuid());
    }
    // A tone well above the threshold for `chunks` tenths of a second, then 0.7 s of silence.
    static void speak(SampleRecorder &recorder, int chunks)
    {
        std::vector<float> samples(size_t(chunks + 7) * 2400, 0.0f);
        for (size_t i = 0; i < size_t(chunks) * 2400; ++i)
            samples[i] = float(0.2 * std::sin(double(i) * 0.0785));
        recorder.play(samples);
    }
    QStringList lines() const
    {
        QStringList out;
        for (const TranscriptSegment &s : store->segments(meeting))
            out << QStringLiteral("%1@%2: %3").arg(s.speakerRaw).arg(s.timestamp, 0, 'f', 1).arg(s.text);
        return out;
    }
};

} // namespace

class TestTranscriptionFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesReachTheStoreAndStopWaitsForBothQueues()
    {
        FlowRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &request) { // the system's utterance (19 chunks) waits
            return utteranceChunks(request.body) == 19 ? TestHttpServer::Reply::held() : TestHttpServer::Reply::json(verboseJson("We ship on Friday."));
        });
        rig.start();
        FlowRig::speak(rig.mic, 10);
        FlowRig::speak(rig.system, 12);
        QTRY_COMPARE(rig.server.requestCount(), 2);
        QTRY_COMPARE(rig.lines(), QStringList{"Me@0.0: We ship on Friday."});

        QSignalSpy finalized(rig.session.get(), &TranscriptionSession::recordingFinalized);
        rig.session->stopRecording();
        QTest::qWait(100); // room for a premature finalize to show up
        QVERIFY(finalized.isEmpty() && rig.store->meeting(rig.meeting)->isRecording);
        rig.server.write(utteranceChunks(rig.server.requests()[0].body) == 19 ? 0 : 1, httpAnswer(verboseJson("Sounds good.")));
        QTRY_COMPARE(finalized.count(), 1);
        QVERIFY(!rig.store->meeting(rig.meeting)->isRecording);
        QCOMPARE(rig.lines(), (QStringList{"Me@0.0: We ship on Friday.", "Them@0.0: Sounds good."}));
        QCOMPARE(rig.server.requests()[1].header("X-Recording-Id"), uuidText(rig.meeting).toLatin1()); // one identifier, both streams
    }

    // Loudspeakers: the far side's words come back on the microphone too. The mic line loses,
    // whichever arrives first.
    void echo_data()
    {
        QTest::addColumn<bool>("micFirst");
        QTest::addColumn<bool>("suppression");
        QTest::addColumn<QStringList>("stored");
        QTest::addColumn<QString>("logLine");
        const QString them = QStringLiteral("Them@0.0: Yes of course we can."), me = QStringLiteral("Me@0.0: Yes of course we can.");
        QTest::newRow("the mic line is replaced") << true << true << QStringList{them} << "[Ondel] Echo replaced: Yes of course we can.";
        QTest::newRow("the mic echo is dropped") << false << true << QStringList{them} << "[Ondel] Echo dropped: Yes of course we can.";
        QTest::newRow("suppression off keeps both") << true << false << QStringList{me, them} << QString();
    }
    void echo()
    {
        QFETCH(bool, micFirst);
        QFETCH(bool, suppression);
        QFETCH(QStringList, stored);
        QFETCH(QString, logLine);
        LogRecorder log;
        FlowRig rig;
        rig.settings.setEchoSuppressionEnabled(suppression);
        rig.server.setHandler([](const TestHttpServer::Request &) { return TestHttpServer::Reply::json(verboseJson("Yes of course we can.")); });
        rig.start();
        FlowRig::speak(micFirst ? rig.mic : rig.system, 10);
        QTRY_COMPARE(rig.store->segmentCount(rig.meeting), 1);
        FlowRig::speak(micFirst ? rig.system : rig.mic, 10);
        QSignalSpy finalized(rig.session.get(), &TranscriptionSession::recordingFinalized);
        rig.session->stopRecording(); // every line is in once the recording is finalized
        QVERIFY(finalized.wait(10000));
        QCOMPARE(rig.lines(), stored);
        QVERIFY(logLine.isEmpty() || log.contains(logLine));
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    QCoreApplication app(argc, argv);
    TestTranscriptionFlow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_transcriptionflow.moc"
