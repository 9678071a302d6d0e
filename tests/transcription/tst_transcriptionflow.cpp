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
        session = std::make_unique<TranscriptionSession>(SessionDependencies{
            .mixer = &mixer, .settings = &settings, .clock = &clock, .microphone = &permission, .credentials = &credentials,
            .makeTranscriber = VrelTranscriber::factory(clock, settings), .findEcho = &EchoSuppressor::duplicate});
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
    // The system's utterance is answered only after the stop, and it is the far-end twin of the
    // microphone's line (loudspeakers): the stop waits for it, and the microphone's copy gives way.
    void linesReachTheStoreAndStopWaitsForBothQueues()
    {
        LogRecorder log;
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
        rig.server.write(utteranceChunks(rig.server.requests()[0].body) == 19 ? 0 : 1, httpAnswer(verboseJson("we ship on Friday")));
        QTRY_COMPARE(finalized.count(), 1);
        QVERIFY(!rig.store->meeting(rig.meeting)->isRecording);
        QCOMPARE(rig.lines(), QStringList{"Them@0.0: we ship on Friday"});
        QVERIFY(log.contains(QStringLiteral("[Ondel] Echo replaced: we ship on Friday")));
        QCOMPARE(rig.server.requests()[1].header("X-Recording-Id"), uuidText(rig.meeting).toLatin1()); // one identifier, both streams
    }
};

ONDEL_TEST_MAIN(TestTranscriptionFlow)

#include "tst_transcriptionflow.moc"
