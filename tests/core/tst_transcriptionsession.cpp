#include "DualStreamMixer.h"
#include "FakeClock.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "StoreFault.h"
#include "TestEnvironment.h"
#include "TranscriptionSession.h"
#include "Uuid.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace std::chrono_literals;
using Status = MicrophonePermission::Status;

namespace {

const QString kMicrophoneOff = QStringLiteral("Microphone access is off. Turn it on in Settings › Privacy › Microphone, then try again.");

// The whole neighbourhood of a session, with doubles where the real parts come later.
struct Rig
{
    QTemporaryDir dir;
    // A busy case waits 100 ms for the lock.
    std::unique_ptr<OndelStore> store = (OndelStore::setBusyTimeout(100), OndelStore::open(dir.filePath(QStringLiteral("Ondel.store"))));
    Settings settings{dir.filePath(QStringLiteral("settings.json"))};
    FakeClock clock;
    SampleRecorder mic, system;
    DualStreamMixer mixer{&mic, &system};
    FakeMicrophonePermission permission;
    FakeCredentials credentials;
    FakeNotesGenerator notes;
    FakeArchive archive;
    FakeSounds sounds;
    FakeLiveDraftEngine liveDraft;
    QList<std::shared_ptr<FakeTranscriber>> transcribers;
    std::optional<QString> language = QStringLiteral("vi");
    std::unique_ptr<TranscriptionSession> session;

    Rig()
    {
        // Twins: the same words, case aside, within the window.
        const auto twin = [](const QString &text, double offset, const QList<TranscriptSegment> &candidates) -> std::optional<TranscriptSegment> {
            for (const TranscriptSegment &c : candidates)
                if (qAbs(c.timestamp - offset) <= 3.5 && c.text.compare(text, Qt::CaseInsensitive) == 0)
                    return c;
            return std::nullopt;
        };
        session = std::make_unique<TranscriptionSession>(SessionDependencies{
            .mixer = &mixer, .settings = &settings, .clock = &clock, .microphone = &permission, .credentials = &credentials,
            .makeTranscriber = [this](const TranscriberConfig &config) { return transcribers.emplaceBack(std::make_shared<FakeTranscriber>(config)); },
            .languageCode = [this] { return language; }, .findEcho = twin, .liveDraft = &liveDraft, .notes = &notes,
            .archive = &archive, .sounds = &sounds});
    }

    FakeTranscriber &me() { return *transcribers.at(transcribers.size() - 2); }
    FakeTranscriber &them() { return *transcribers.last(); }
    QUuid start(std::optional<QUuid> meeting = std::nullopt)
    {
        session->startRecording(store.get(), meeting);
        return session->meetingID().value_or(QUuid());
    }
    QStringList lines(const QUuid &meetingId) const
    {
        QStringList out;
        for (const TranscriptSegment &s : store->segments(meetingId))
            out << s.speakerRaw + QStringLiteral(": ") + s.text;
        return out;
    }
};

} // namespace

class TestTranscriptionSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusedStarts_data()
    {
        QTest::addColumn<int>("permission");
        QTest::addColumn<bool>("hasCredentials");
        QTest::addColumn<bool>("viaAccount");
        QTest::addColumn<bool>("exhausted");
        QTest::addColumn<bool>("granted"); // the user's answer, when the permission is undecided
        QTest::addColumn<QString>("error"); // empty: the recording starts
        // The stored keys: 0 read, 1 still being read at the start, 2 that and Stop pressed meanwhile.
        QTest::addColumn<int>("keys");

        const QString noCredentials = QStringLiteral("Sign in to start transcribing — or add your own Vrel key in Settings");
        const QString used = QStringLiteral("You've used your free minutes this month — they reset on the 1st");
        QTest::newRow("denied") << int(Status::Denied) << true << true << false << false << kMicrophoneOff << 0;
        QTest::newRow("restricted") << int(Status::Restricted) << true << true << false << false << kMicrophoneOff << 0;
        QTest::newRow("undecided, then refused") << int(Status::NotDetermined) << true << true << false << false << kMicrophoneOff << 0;
        QTest::newRow("undecided, then granted") << int(Status::NotDetermined) << true << true << false << true << QString() << 0;
        QTest::newRow("no credentials") << int(Status::Authorized) << false << false << false << false << noCredentials << 0;
        QTest::newRow("allowance used up") << int(Status::Authorized) << true << true << true << false << used << 0;
        QTest::newRow("own key ignores the allowance") << int(Status::Authorized) << true << false << true << false << QString() << 0;
        QTest::newRow("keys read late, then found") << int(Status::Authorized) << true << true << false << false << QString() << 1;
        QTest::newRow("keys read late, none") << int(Status::Authorized) << false << false << false << false << noCredentials << 1;
        QTest::newRow("keys read late, stopped meanwhile") << int(Status::Authorized) << true << true << false << false << QString() << 2;
    }
    void refusedStarts()
    {
        QFETCH(int, permission);
        QFETCH(bool, hasCredentials);
        QFETCH(bool, viaAccount);
        QFETCH(bool, exhausted);
        QFETCH(bool, granted);
        QFETCH(QString, error);
        QFETCH(int, keys);

        Rig rig;
        rig.language.reset();
        rig.permission.current = Status(permission);
        if (hasCredentials)
            rig.credentials.credentials->viaAccount = viaAccount;
        else
            rig.credentials.credentials.reset();
        rig.credentials.exhausted = exhausted;
        rig.credentials.known = keys == 0;

        QUuid id = rig.start();
        if (keys) { // neither refused nor started until the keys are known
            QVERIFY(!rig.session->isRecording());
            QCOMPARE(rig.session->error(), QString());
            if (keys == 2)
                rig.session->stopRecording(); // withdraws the waiting start
            rig.credentials.becomeKnown();
            id = rig.session->meetingID().value_or(QUuid());
        }
        if (permission == int(Status::NotDetermined)) { // asks first, and starts only once allowed
            QVERIFY(!rig.session->isRecording());
            QCOMPARE(rig.permission.requests, 1);
            rig.permission.answer(granted);
            settle();
        }
        const bool starts = error.isEmpty() && keys != 2;
        QCOMPARE(rig.session->error(), error);
        QCOMPARE(rig.session->isRecording(), starts);
        QCOMPARE(rig.store->meetingCount(), starts ? 1 : 0); // a refusal makes no meeting
        QCOMPARE(rig.mic.running, starts);
        if (starts && permission == int(Status::Authorized)) { // no meeting given: a new one, automatic language
            QCOMPARE(rig.store->meeting(id)->title, QStringLiteral("New Meeting"));
            QCOMPARE(rig.store->meeting(id)->date, rig.clock.now());
            QVERIFY(!rig.me().config.language);
        }
    }

    void startWiresStreamsToTheirTranscribers()
    {
        Rig rig;
        LogRecorder log;
        Meeting planned(QStringLiteral("Planning"), QDateTime(QDate(2026, 3, 1), QTime(14, 0), Qt::UTC));
        planned.scheduledStart = planned.date;
        QVERIFY(rig.store->insert(planned));
        rig.clock.advance(5min);

        QCOMPARE(rig.start(planned.id), planned.id);
        const Meeting recording = *rig.store->meeting(planned.id);
        QVERIFY(recording.isRecording);
        QCOMPARE(recording.date, rig.clock.now()); // the real start replaces the planned date
        QCOMPARE(recording.scheduledStart, planned.scheduledStart);

        QCOMPARE(rig.transcribers.size(), 2);
        for (const auto &t : rig.transcribers) {
            QCOMPARE(t->config.recordingId, uuidText(planned.id));
            QCOMPARE(t->config.language, std::optional<QString>(QStringLiteral("vi")));
            QCOMPARE(t->config.sessionStart, rig.clock.now());
            QCOMPARE(t->connects, 1);
        }

        const std::vector<float> tenthOfASecond(2400, 0.25f);
        rig.mic.play(tenthOfASecond);
        rig.mic.play(tenthOfASecond);
        rig.system.play(tenthOfASecond);
        QCOMPARE(rig.me().chunkCount(), 2);
        QCOMPARE(rig.them().chunkCount(), 1);

        QVERIFY(rig.session->systemAudioActive());
        QCOMPARE(rig.sounds.played, QList<SoundCues::Cue>{SoundCues::Cue::Start});
        QVERIFY(log.contains(QStringLiteral("[Ondel] Recording session started (system audio: active)")));
    }

    void systemAudioFailureRecordsTheMicrophoneAlone()
    {
        Rig rig;
        LogRecorder log;
        rig.system.failure = RecorderError{QStringLiteral("No monitor source")};
        rig.start();
        QVERIFY(rig.session->isRecording());
        QVERIFY(!rig.session->systemAudioActive());
        QVERIFY(rig.session->error().isEmpty()); // nothing to the user
        QCOMPARE(rig.them().disconnects, 1);
        QCOMPARE(rig.me().disconnects, 0);
        QVERIFY(log.contains(QStringLiteral("[Ondel] Recording session started (system audio: unavailable)")));
    }

    void microphoneFailureLeavesTheMeetingForRepair()
    {
        Rig rig;
        rig.mic.failure = RecorderError{QStringLiteral("Invalid audio format")};
        const QUuid id = rig.start();
        QVERIFY(!rig.session->isRecording());
        QCOMPARE(rig.session->error(), QStringLiteral("Invalid audio format"));
        QVERIFY(rig.store->meeting(id)->isRecording); // settled by the repair at the next launch
        QCOMPARE(rig.me().disconnects, 1);
        QCOMPARE(rig.them().disconnects, 1);
    }

    void echoRules_data()
    {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QString>("firstSpeaker");
        QTest::addColumn<double>("firstAt");
        QTest::addColumn<QString>("secondSpeaker");
        QTest::addColumn<double>("secondAt");
        QTest::addColumn<QStringList>("stored");
        QTest::addColumn<QString>("logLine");

        const QString a = QStringLiteral("Them: We ship on Friday");
        QTest::newRow("mic echo of a far-end line is dropped")
            << true << "Them" << 10.0 << "Me" << 11.0 << QStringList{a} << "[Ondel] Echo dropped: we ship on friday";
        QTest::newRow("far-end line replaces its earlier mic echo")
            << true << "Me" << 10.0 << "Them" << 9.0 << QStringList{"Them: we ship on friday"}
            << "[Ondel] Echo replaced: we ship on friday";
        QTest::newRow("outside the window both stay")
            << true << "Them" << 10.0 << "Me" << 14.0 << QStringList{a, "Me: we ship on friday"} << "[Ondel] [Me] we ship on friday";
        QTest::newRow("suppression off keeps both")
            << false << "Them" << 10.0 << "Me" << 10.5 << QStringList{a, "Me: we ship on friday"} << "[Ondel] [Me] we ship on friday";
        QTest::newRow("a stream never echoes itself")
            << true << "Me" << 10.0 << "Me" << 10.5 << QStringList{"Me: We ship on Friday", "Me: we ship on friday"}
            << "[Ondel] [Me] we ship on friday";
    }
    void echoRules()
    {
        QFETCH(bool, enabled);
        QFETCH(QString, firstSpeaker);
        QFETCH(double, firstAt);
        QFETCH(QString, secondSpeaker);
        QFETCH(double, secondAt);
        QFETCH(QStringList, stored);
        QFETCH(QString, logLine);

        Rig rig;
        rig.settings.setEchoSuppressionEnabled(enabled);
        const QUuid id = rig.start();
        LogRecorder log;
        auto say = [&](const QString &who, double at, const QString &text) {
            (who == QLatin1String("Me") ? rig.me() : rig.them()).completeLine(text, at);
            settle();
        };
        say(firstSpeaker, firstAt, QStringLiteral("We ship on Friday"));
        say(secondSpeaker, secondAt, QStringLiteral("  we ship on friday\n"));
        QCOMPARE(rig.lines(id), stored);
        QVERIFY2(log.contains(logLine), qPrintable(log.lines().join(QLatin1Char('\n'))));
    }

    // Only the microphone's failures reach the user. The message stays until the next recording:
    // a start while recording changes nothing, not even that.
    void uploadErrors()
    {
        Rig rig;
        LogRecorder log;
        const QUuid id = rig.start();
        rig.them().fail(QStringLiteral("far side failed"));
        settle();
        QVERIFY(rig.session->error().isEmpty()); // the far side alone never raises a message
        QVERIFY(log.contains(QStringLiteral("[Ondel] Them transcriber error: far side failed")));
        rig.me().fail(QStringLiteral("Transcription failed (HTTP 500)"));
        settle();
        QCOMPARE(rig.session->error(), QStringLiteral("Transcription failed (HTTP 500)"));
        rig.me().completeLine(QStringLiteral("later success"), 5);
        settle();
        QCOMPARE(rig.session->error(), QStringLiteral("Transcription failed (HTTP 500)"));
        rig.start();
        QCOMPARE(rig.session->error(), QStringLiteral("Transcription failed (HTTP 500)"));
        QCOMPARE(rig.transcribers.size(), 2);
        QCOMPARE(rig.session->meetingID(), std::optional<QUuid>(id));
    }

    void emptyMeetingIsDeletedUnlessSomethingHappened_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<bool>("kept");
        QTest::newRow("silence") << "silence" << false;
        QTest::newRow("a blank line is none") << "blank" << false;
        QTest::newRow("a failed upload") << "them error" << true;
        QTest::newRow("user notes") << "notes" << true;
        QTest::newRow("a line") << "line" << true;
        QTest::newRow("a line, then signed out: no notes") << "signed out" << true;
        QTest::newRow("lines unreadable at the stop") << "unreadable" << true; // a failed count is no empty meeting
    }
    void emptyMeetingIsDeletedUnlessSomethingHappened()
    {
        QFETCH(QString, what);
        QFETCH(bool, kept);
        Rig rig;
        LogRecorder log;
        const QUuid id = rig.start();
        if (what == QLatin1String("them error"))
            rig.them().fail(QStringLiteral("lost"));
        else if (what == QLatin1String("notes"))
            rig.store->update(id, [](Meeting &m) { m.userNotes = QStringLiteral("remember the budget"); });
        else if (what == QLatin1String("blank"))
            rig.me().completeLine(QStringLiteral(" \n\t "), 1);
        else if (what != QLatin1String("silence"))
            rig.me().completeLine(QStringLiteral("one line"), 1);
        if (what == QLatin1String("signed out")) // during the meeting
            rig.credentials.credentials.reset();
        settle();
        StoreFault fault(rig.store->filePath());
        if (what == QLatin1String("unreadable"))
            fault.hide(QStringLiteral("transcript_segments"));
        QSignalSpy finalized(rig.session.get(), &TranscriptionSession::recordingFinalized);
        rig.session->stopRecording();
        settle();
        QCOMPARE(finalized.count(), 1);
        QCOMPARE(bool(rig.store->meeting(id)), kept);
        QCOMPARE(log.contains(QStringLiteral("[Ondel] Empty meeting deleted")), !kept);
        QCOMPARE(rig.archive.archived.size(), kept ? 1 : 0);
        if (kept)
            QVERIFY(!rig.store->meeting(id)->isRecording);
        // Notes only where there is a transcript, and credentials to ask with.
        QCOMPARE(rig.notes.requests.size(), what == QLatin1String("line") ? 1 : 0);
        QCOMPARE(rig.session->isGeneratingSummary(), what == QLatin1String("line"));
        QVERIFY(rig.session->error().isEmpty());
    }

    // A refused save stays in memory; the next save, or the retry, carries it, in order.
    void refusedSavesAreCarriedByTheNextOne_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("when");
        QTest::newRow("a line refused") << "refuse transcript_segments" << "line";
        QTest::newRow("a line to a busy store") << "busy" << "line";
        QTest::newRow("the final update refused") << "refuse meetings" << "stop";
        QTest::newRow("title and notes refused") << "refuse meetings" << "notes";
        QTest::newRow("title and notes to a busy store") << "busy" << "notes";
    }
    void refusedSavesAreCarriedByTheNextOne()
    {
        QFETCH(QString, fault);
        QFETCH(QString, when);
        Rig rig;
        LogRecorder log;
        StoreFault store(rig.store->filePath());
        const auto breakIf = [&](const char *phase) {
            if (when != QLatin1String(phase))
                return;
            if (fault == QLatin1String("busy"))
                store.holdWriteLock();
            else
                store.refuseWrites(fault.section(QLatin1Char(' '), 1));
        };
        const QUuid id = rig.start();
        rig.me().completeLine(QStringLiteral("one"), 1);
        settle();
        breakIf("line");
        rig.them().completeLine(QStringLiteral("two"), 2);
        settle();
        QCOMPARE(rig.lines(id).size(), when == QLatin1String("line") ? 1 : 2);
        store.heal();
        rig.me().completeLine(QStringLiteral("two"), 3); // the kept Them line is still its twin
        rig.me().completeLine(QStringLiteral("three"), 9);
        settle();
        QCOMPARE(rig.lines(id), (QStringList{"Me: one", "Them: two", "Me: three"}));

        breakIf("stop");
        rig.session->stopRecording();
        settle();
        QCOMPARE(rig.store->meeting(id)->isRecording, when == QLatin1String("stop"));
        QCOMPARE(rig.notes.requests.size(), 1); // the kept change counts: the meeting is not empty
        store.heal();
        rig.clock.advance(TranscriptionSession::saveRetry); // no other save comes: the retry carries it
        QVERIFY(!rig.store->meeting(id)->isRecording);

        breakIf("notes");
        rig.notes.answer(NotesResult{QStringLiteral("Roadmap review"), QStringLiteral("- roadmap"), {}});
        settle();
        QCOMPARE(rig.store->meeting(id)->summary.has_value(), when != QLatin1String("notes"));
        store.heal();
        rig.clock.advance(TranscriptionSession::saveRetry);
        const Meeting done = *rig.store->meeting(id);
        QCOMPARE(done.title, QStringLiteral("Roadmap review"));
        QCOMPARE(done.summary, std::optional<QString>(QStringLiteral("- roadmap")));
        // Once after the stop and once with the notes; a finished meeting's late save once more.
        QCOMPARE(rig.archive.archived.size(), when == QLatin1String("line") ? 2 : 3);
        QCOMPARE(log.lines().filter(QStringLiteral("[Ondel] Save failed, kept for the next one: ")).size(), 1);
    }

    // The stop waits for a hanging upload however long it takes, and a new recording can start
    // meanwhile: the old drain does not touch it.
    void stopWaitsForEveryUploadHoweverLong()
    {
        Rig rig;
        LogRecorder log;
        const QUuid id = rig.start();
        const QDateTime started = rig.clock.now();
        FakeTranscriber &me = rig.me(), &them = rig.them();
        me.holdUploads(); // an upload that hangs
        me.completeLine(QStringLiteral("before the stop"), 1);
        settle();
        rig.clock.advance(2min);

        QSignalSpy finalized(rig.session.get(), &TranscriptionSession::recordingFinalized);
        rig.session->stopRecording();
        QCOMPARE(me.commits, 1);
        QCOMPARE(them.commits, 1);
        QVERIFY(!rig.session->isRecording());
        QVERIFY(log.contains(QStringLiteral("[Ondel] Recording stopped, waiting for final transcripts...")));

        // Well past the 35-second guard: still waiting, nothing finalized.
        rig.clock.advance(40s);
        settle();
        QCOMPARE(finalized.count(), 0);
        QVERIFY(rig.store->meeting(id)->isRecording);
        QVERIFY(log.contains(QStringLiteral("[Ondel] Still waiting for final transcripts...")));
        const QUuid next = rig.start();
        QVERIFY(next != id && rig.session->isRecording());

        // The upload's second attempt times out some 61 s after the stop; the line before it is in.
        rig.clock.advance(21s);
        me.completeLine(QStringLiteral("the last line"), 118);
        me.finishUploads();
        settle();
        QCOMPARE(finalized.count(), 1);
        const Meeting done = *rig.store->meeting(id);
        QVERIFY(!done.isRecording);
        QCOMPARE(done.duration, secondsBetween(started, rig.clock.now())); // the whole time, waiting included
        QCOMPARE(rig.lines(id), (QStringList{"Me: before the stop", "Me: the last line"}));
        QCOMPARE(me.disconnects, 1);
        QCOMPARE(them.disconnects, 1);
        QCOMPARE(rig.archive.archived, QList<QUuid>{id});
        QVERIFY(rig.store->meeting(next)->isRecording && rig.session->isRecording());
    }

    void pauseAndResume_data()
    {
        QTest::addColumn<bool>("sounds");
        QTest::newRow("with sounds") << true;
        QTest::newRow("sounds off") << false;
    }
    void pauseAndResume()
    {
        QFETCH(bool, sounds);
        Rig rig;
        rig.settings.setSoundEnabled(sounds);
        LogRecorder log;
        const QUuid id = rig.start();

        // Twice each, as a second click does: the mixer drops what plays while paused.
        rig.session->pauseRecording();
        rig.session->pauseRecording();
        QVERIFY(rig.session->isPaused() && rig.mixer.isPaused());
        rig.clock.advance(10min);
        rig.session->resumeRecording();
        rig.session->resumeRecording();
        QVERIFY(!rig.session->isPaused() && !rig.mixer.isPaused());
        using Cue = SoundCues::Cue;
        QCOMPARE(rig.sounds.played, sounds ? (QList<Cue>{Cue::Start, Cue::Stop, Cue::Resume}) : QList<Cue>());
        QCOMPARE(log.lines().count(QStringLiteral("[Ondel] Recording paused")), 1);
        QCOMPARE(log.lines().count(QStringLiteral("[Ondel] Recording resumed")), 1);

        rig.session->pauseRecording();
        rig.me().completeLine(QStringLiteral("said before the pause"), 2);
        rig.session->stopRecording(); // from paused, as from recording
        QVERIFY(!rig.session->isPaused() && !rig.session->isRecording());
        settle();
        QVERIFY(rig.store->meeting(id)->duration >= 600); // paused time counts in the duration
    }

    void notesArriveAfterFinalize_data()
    {
        QTest::addColumn<bool>("titleEdited");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("expectedTitle");
        QTest::newRow("generated title") << false << QString() << "Roadmap review";
        QTest::newRow("user's title is kept") << true << QString() << "My title";
        QTest::newRow("failure") << false << "The model is busy" << "New Meeting";
    }
    void notesArriveAfterFinalize()
    {
        QFETCH(bool, titleEdited);
        QFETCH(QString, failure);
        QFETCH(QString, expectedTitle);
        Rig rig;
        LogRecorder log;
        const QUuid id = rig.start();
        rig.me().completeLine(QStringLiteral("let us review the roadmap"), 1);
        rig.them().completeLine(QStringLiteral("sure"), 3);
        settle();
        rig.session->stopRecording();
        settle();
        QCOMPARE(rig.notes.requests.size(), 1);
        QCOMPARE(rig.notes.requests.first().transcript, QStringLiteral("Speaker A: let us review the roadmap\nSpeaker B: sure"));
        QCOMPARE(rig.notes.requests.first().credentials, *rig.credentials.credentials);
        QVERIFY(rig.session->isGeneratingSummary());
        QCOMPARE(rig.session->generatingSummaryMeetingID(), std::optional<QUuid>(id));

        if (titleEdited) // renamed while the model was still writing
            rig.store->update(id, [](Meeting &m) { m.title = QStringLiteral("My title"); m.titleIsUserEdited = true; });
        rig.notes.answer(failure.isEmpty() ? NotesResult{QStringLiteral("Roadmap review"), QStringLiteral("## Summary\n- roadmap"), {}}
                                           : NotesResult{std::nullopt, {}, failure});
        settle();

        const Meeting m = *rig.store->meeting(id);
        QCOMPARE(m.title, expectedTitle);
        QVERIFY(!rig.session->isGeneratingSummary());
        QVERIFY(!rig.session->generatingSummaryMeetingID());
        if (failure.isEmpty()) {
            QCOMPARE(m.summary, std::optional<QString>(QStringLiteral("## Summary\n- roadmap")));
            QCOMPARE(rig.archive.archived.size(), 2); // once with the transcript, once with the notes
            QVERIFY(log.contains(QStringLiteral("[Ondel] Summary generated: ") + expectedTitle));
        } else {
            QVERIFY(!m.summary);
            QCOMPARE(rig.session->error(), QStringLiteral("Summary failed: ") + failure);
            QCOMPARE(rig.archive.archived.size(), 1);
        }
    }

    void liveDraft()
    {
        Rig off; // the setting absent: no recogniser, no permission asked
        off.start();
        settle();
        QVERIFY(off.liveDraft.made.isEmpty());
        QCOMPARE(off.liveDraft.authorizations, 0);

        Rig rig;
        rig.settings.setLiveDraftEnabled(true);
        rig.start();
        settle();
        QCOMPARE(rig.liveDraft.made.size(), 2);
        FakeLiveDraftRecognizer *mic = rig.liveDraft.made.first();
        QVERIFY(mic->running);
        const std::vector<float> samples(480, 0.1f);
        rig.mic.play(samples);
        QCOMPARE(mic->fed.load(), 480);

        QSignalSpy draft(rig.session.get(), &TranscriptionSession::liveDraftChanged);
        mic->onDraft(QStringLiteral("we ship on"));
        settle();
        QCOMPARE(rig.session->liveDraft(), QStringLiteral("we ship on"));
        rig.me().completeLine(QStringLiteral("We ship on Friday."), 1); // the real line replaces the rough text
        settle();
        QVERIFY(rig.session->liveDraft().isEmpty());

        mic->onDraft(QStringLiteral("and then"));
        rig.session->stopRecording(); // the recognizers are gone with the recording
        settle();
        QVERIFY(rig.session->liveDraft().isEmpty());

        Rig refused;
        LogRecorder log;
        refused.settings.setLiveDraftEnabled(true);
        refused.liveDraft.authorized = false;
        refused.start();
        settle();
        QVERIFY(refused.liveDraft.made.isEmpty());
        QVERIFY(log.contains(QStringLiteral("[Ondel] Live draft unavailable: speech recognition not authorised")));
    }
};

ONDEL_TEST_MAIN(TestTranscriptionSession)

#include "tst_transcriptionsession.moc"
