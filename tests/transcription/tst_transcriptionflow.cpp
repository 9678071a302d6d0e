#include "AppState.h"
#include "DualStreamMixer.h"
#include "EchoSuppressor.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "SpoolReplay.h"
#include "TestEnvironment.h"
#include "TranscriberRig.h"
#include "TranscriptionSession.h"
#include "UtteranceSpool.h"
#include "Uuid.h"
#include "WavFile.h"

#include <QSignalSpy>

#include <vector>

namespace {

QByteArray verboseJson(const QByteArray &text)
{
    return "{\"task\":\"transcribe\",\"language\":\"english\",\"duration\":1.7,\"text\":\" " + text + "\",\"segments\":[{\"id\":0,\"start\":0.0,"
           "\"end\":1.5,\"text\":\" " + text + "\",\"avg_logprob\":-0.21,\"compression_ratio\":1.1,\"no_speech_prob\":0.01}]}";
}

// An answer that names the utterance by its length: "Part 17" for 17 chunks.
TestHttpServer::Reply partAnswer(const TestHttpServer::Request &request)
{
    return TestHttpServer::Reply::json(verboseJson("Part " + QByteArray::number(utteranceChunks(request.body))));
}

// From the recorders' samples to stored lines: the real app state, session, transcribers, echo
// suppressor, store and spool, and a local speech-to-text server.
struct FlowRig
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    Settings settings{dir.filePath(QStringLiteral("settings.json"))};
    TestHttpServer server;
    WatchedClock clock;
    SampleRecorder mic, system;
    DualStreamMixer mixer{&mic, &system};
    FakeMicrophonePermission permission;
    FakeCredentials credentials;
    FakeArchive archive;
    UtteranceSpool spool{dir.filePath(QStringLiteral("Spool"))};
    std::unique_ptr<AppState> state;
    TranscriptionSession *session = nullptr;
    std::unique_ptr<SpoolReplay> replay;
    QUuid meeting;

    FlowRig()
    {
        credentials.credentials = ModelCredentials{server.url(), QStringLiteral("test-key"), false};
        state = std::make_unique<AppState>(SessionDependencies{
            .mixer = &mixer, .settings = &settings, .clock = &clock, .microphone = &permission, .credentials = &credentials,
            .makeTranscriber = VrelTranscriber::factory(clock, settings), .findEcho = &EchoSuppressor::duplicate, .archive = &archive,
            .spool = &spool});
        session = &state->session();
        // As the front ends wire it.
        replay = std::make_unique<SpoolReplay>(spool, *store, settings, credentials, clock,
                                               [this](const QUuid &id, const Speaker &speaker, const QString &text, double offset) {
                                                   session->appendLate(*store, id, speaker, text, offset);
                                               });
        QObject::connect(replay.get(), &SpoolReplay::meetingUpdated, [this](const QUuid &id) { archive.archive(id); });
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
        out.sort(); // by speaker, then time (below ten seconds)
        return out;
    }
};

// A WAV file of `chunks` tenths of a second.
QByteArray wavOf(int chunks)
{
    return WavFile::mono16(QByteArray(chunks * 4800, '\x11'), 24000);
}

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

        QSignalSpy finalized(rig.session, &TranscriptionSession::recordingFinalized);
        rig.session->stopRecording();
        QTest::qWait(100); // room for a premature finalize to show up
        QVERIFY(finalized.isEmpty() && rig.store->meeting(rig.meeting)->isRecording);
        QCOMPARE(rig.spool.count(rig.meeting), 1); // the held upload's audio is on disk meanwhile
        rig.server.write(utteranceChunks(rig.server.requests()[0].body) == 19 ? 0 : 1, httpAnswer(verboseJson("we ship on Friday")));
        QTRY_COMPARE(finalized.count(), 1);
        QVERIFY(!rig.store->meeting(rig.meeting)->isRecording);
        QCOMPARE(rig.lines(), QStringList{"Them@0.0: we ship on Friday"});
        QVERIFY(log.contains(QStringLiteral("[Ondel] Echo replaced: we ship on Friday")));
        QCOMPARE(rig.server.requests()[1].header("X-Recording-Id"), uuidText(rig.meeting).toLatin1()); // one identifier, both streams
        QTRY_VERIFY(!rig.spool.holdsAudio(rig.meeting)); // every answer handled, echo included
    }

    // The service answers 503 for 30 s in the middle of a recording. Each part it refused keeps
    // its error, stays in the spool, and lands at its place once the service is back: the
    // microphone's when its next upload succeeds, the far side's at the stop.
    void anOutageLosesNoLine()
    {
        LogRecorder log;
        FlowRig rig;
        bool down = false;
        rig.server.setHandler([&](const TestHttpServer::Request &request) {
            return down ? TestHttpServer::Reply::json(R"({"error":{"message":"Service unavailable"}})", 503) : partAnswer(request);
        });
        rig.start();
        FlowRig::speak(rig.mic, 10); // 17 chunks from 0.0
        QTRY_COMPARE(rig.lines(), QStringList{"Me@0.0: Part 17"});

        down = true;
        const QDateTime outage = rig.clock.now();
        FlowRig::speak(rig.mic, 12); // 19 chunks from 1.7
        FlowRig::speak(rig.system, 14); // 21 chunks from 0.0 of its own stream
        QVERIFY(rig.clock.waitFor([&] { return rig.server.requestCount() == 5 && rig.spool.count(rig.meeting) == 2; }));
        QTRY_COMPARE(rig.session->error(), QStringLiteral("Service unavailable"));
        QTRY_COMPARE(log.lines().count(QStringLiteral("[Ondel] Vrel transcription failed: Service unavailable")), 2); // the answer is read after the request counts
        rig.clock.fake.advance(std::chrono::milliseconds(30000 - outage.msecsTo(rig.clock.now())));
        down = false;

        FlowRig::speak(rig.mic, 16); // 23 chunks from 3.6, then the part of 1.7 behind it
        QVERIFY(rig.clock.waitFor([&] { return rig.lines().size() == 3; }));
        QTRY_COMPARE(rig.spool.count(rig.meeting), 1); // the far side's still waits
        QSignalSpy finalized(rig.session, &TranscriptionSession::recordingFinalized);
        rig.session->stopRecording();
        QVERIFY(rig.clock.waitFor([&] { return finalized.count() == 1; }));
        QCOMPARE(rig.lines(), (QStringList{"Me@0.0: Part 17", "Me@1.7: Part 19", "Me@3.6: Part 23", "Them@0.0: Part 21"}));
        QVERIFY(!rig.spool.holdsAudio(rig.meeting));
        QCOMPARE(rig.session->error(), QStringLiteral("Service unavailable")); // the message stays, as before
    }

    // What a process killed during its uploads leaves: a meeting still flagged as recording and
    // its audio in the spool. The start-up closes the meeting without deleting it, and sends the
    // audio again: the lines land at their places, a damaged file and a repeat are skipped aloud,
    // the audio of a meeting that is gone goes, and the archive is written again.
    void aRestartTranscribesWhatTheSpoolHeld()
    {
        FlowRig rig;
        rig.server.setHandler(partAnswer);
        Meeting left(QStringLiteral("New Meeting"), rig.clock.now());
        left.isRecording = true;
        QVERIFY(rig.store->insert(left));
        QVERIFY(rig.spool.add(left.id, QStringLiteral("Me"), 0.0, wavOf(17)));
        QVERIFY(rig.spool.add(left.id, QStringLiteral("Me"), 1.7, wavOf(17))); // the model says the same again
        QVERIFY(rig.spool.add(left.id, QStringLiteral("Them"), 2.5, wavOf(21)));
        const auto damaged = rig.spool.add(left.id, QStringLiteral("Me"), 4.0, wavOf(12));
        QFile(damaged->path).resize(100);
        const QUuid gone = QUuid::createUuid();
        QVERIFY(rig.spool.add(gone, QStringLiteral("Me"), 0.0, wavOf(17)));

        LogRecorder log;
        StartupParts parts;
        parts.transcribeSpool = [&] { rig.replay->transcribeAll(); };
        rig.state->startUp(*rig.store, parts);
        QVERIFY(rig.store->meeting(left.id) && !rig.store->meeting(left.id)->isRecording); // not deleted as empty
        rig.meeting = left.id;
        QTRY_VERIFY(rig.replay->isIdle());
        QCOMPARE(rig.lines(), (QStringList{"Me@0.0: Part 17", "Them@2.5: Part 21"}));
        QCOMPARE(rig.server.requestCount(), 3);
        QVERIFY(rig.spool.meetings().isEmpty());
        QCOMPARE(rig.archive.archived.count(left.id), 2); // closed, then with its late lines
        for (const QString &line : {QStringLiteral("[Ondel] Dropped repeated utterance: Part 17"),
                                    QStringLiteral("[Ondel] Removed the spooled audio of a deleted meeting (1 part(s))"),
                                    QStringLiteral("[Ondel] Skipped a damaged spool file: %1/%2").arg(uuidText(left.id), QFileInfo(damaged->path).fileName())})
            QVERIFY2(log.contains(line), qPrintable(log.lines().join(QLatin1Char('\n'))));
    }
};

ONDEL_TEST_MAIN(TestTranscriptionFlow)

#include "tst_transcriptionflow.moc"
