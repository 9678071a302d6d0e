#include "TranscriptionSession.h"

#include "DualStreamMixer.h"
#include "Log.h"
#include "MainThread.h"
#include "OndelStore.h"
#include "Settings.h"
#include "UtteranceSpool.h"
#include "Uuid.h"

#include <QFutureWatcher>
#include <QPointer>

#include <algorithm>

namespace {

const QString kNoCredentials = QStringLiteral("Sign in to start transcribing — or add your own Vrel key in Settings");
const QString kAllowanceUsed = QStringLiteral("You've used your free minutes this month — they reset on the 1st");

void log(const QString &line)
{
    qCInfo(lcOndel).noquote() << line;
}

// Runs `action` on `context`'s thread once `future` has finished (or was cancelled).
void whenFinished(const QFuture<void> &future, QObject *context, std::function<void()> action)
{
    if (future.isFinished()) {
        QMetaObject::invokeMethod(context, std::move(action), Qt::QueuedConnection);
        return;
    }
    auto *watcher = new QFutureWatcher<void>(context);
    QObject::connect(watcher, &QFutureWatcher<void>::finished, context, [watcher, action = std::move(action)] {
        watcher->deleteLater();
        action();
    });
    watcher->setFuture(future);
}

// Lines in [from, to] of the given speakers, the kept ones added after those in the store.
QList<TranscriptSegment> withUnsavedLines(QList<TranscriptSegment> stored, const QList<TranscriptSegment> &kept, const QStringList &speakers,
                                          double from, double to)
{
    for (const TranscriptSegment &s : kept)
        if (speakers.contains(s.speakerRaw) && s.timestamp >= from && s.timestamp <= to)
            stored.append(s);
    return stored;
}

} // namespace

TranscriptionSession::TranscriptionSession(SessionDependencies dependencies, QObject *parent)
    : QObject(parent)
    , m_deps(std::move(dependencies))
{
    Q_ASSERT(m_deps.mixer && m_deps.settings && m_deps.clock && m_deps.microphone && m_deps.credentials && m_deps.makeTranscriber);
}

TranscriptionSession::~TranscriptionSession()
{
    stopLiveDraft();
    if (m_saveRetry)
        m_deps.clock->cancel(*m_saveRetry);
    if (m_store && !m_unsaved.flush(*m_store))
        log(QStringLiteral("Unsaved changes lost at exit: %1").arg(m_store->lastError()));
}

QString TranscriptionSession::generatingSummaryMeetingIDText() const
{
    return m_generatingSummaryMeetingID ? uuidText(*m_generatingSummaryMeetingID) : QString();
}

// Start

void TranscriptionSession::startRecording(OndelStore *store, std::optional<QUuid> meetingId)
{
    if (m_isRecording)
        return;

    switch (m_deps.microphone->status()) {
    case MicrophonePermission::Status::Restricted:
    case MicrophonePermission::Status::Denied:
        setError(m_deps.microphone->deniedMessage());
        return;
    case MicrophonePermission::Status::NotDetermined:
        m_deps.microphone->requestAccess(this, [this, store, meetingId](bool granted) {
            if (granted)
                startRecording(store, meetingId);
            else
                setError(m_deps.microphone->deniedMessage());
        });
        return;
    case MicrophonePermission::Status::Authorized:
        break;
    }
    if (!m_deps.credentials->credentialsKnown()) {
        // The stored keys are still being read: the start waits for them rather than asking to sign in.
        // A stop (or a newer start) pressed meanwhile withdraws it.
        const quint64 ticket = ++m_startTicket;
        m_deps.credentials->whenCredentialsKnown(this, [this, store, meetingId, ticket] {
            if (ticket == m_startTicket)
                startRecording(store, meetingId);
        });
        return;
    }

    m_store = store;
    setError({});
    m_sawTranscriptionError = false;

    const std::optional<ModelCredentials> credentials = m_deps.credentials->modelCredentials();
    if (!credentials) {
        setError(kNoCredentials);
        return;
    }
    if (credentials->viaAccount && m_deps.credentials->allowanceExhausted()) {
        setError(kAllowanceUsed);
        return;
    }

    const QDateTime now = m_deps.clock->now();
    QUuid id;
    if (meetingId && m_unsaved.meeting(*store, *meetingId)) {
        id = *meetingId;
    } else {
        Meeting meeting(QStringLiteral("New Meeting"), now);
        if (meetingId)
            meeting.id = *meetingId; // a meeting handed in but gone from the store is made anew
        m_unsaved.insertMeeting(*store, meeting);
        id = meeting.id;
    }
    // A failed save stays in memory: the next one carries it.
    afterSave(m_unsaved.updateMeeting(*store, id, [now](Meeting &m) {
        m.isRecording = true;
        m.date = now;
    }));
    m_meetingId = id;
    m_recordingStartDate = now;

    TranscriberConfig config;
    config.credentials = *credentials;
    config.recordingId = uuidText(id);
    config.language = m_deps.languageCode ? m_deps.languageCode() : std::nullopt;
    config.sessionStart = now;
    m_meTranscriber = makeTranscriber(config, Speaker::me(), id);
    m_themTranscriber = makeTranscriber(config, Speaker::them(), id);

    DualStreamMixer &mixer = *m_deps.mixer;
    auto wire = [](AudioChunker &chunker, const std::shared_ptr<Transcriber> &transcriber) {
        chunker.clearBuffer();
        chunker.setOnChunkReady([weak = std::weak_ptr<Transcriber>(transcriber)](QByteArrayView chunk) {
            if (const auto t = weak.lock())
                t->sendAudio(chunk);
        });
    };
    wire(mixer.micChunker(), m_meTranscriber);
    wire(mixer.systemChunker(), m_themTranscriber);

    m_meTranscriber->connect();
    m_themTranscriber->connect();

    if (const std::optional<RecorderError> failure = mixer.start()) {
        // The meeting stays flagged as recording on purpose: the repair at the next launch settles it.
        setError(failure->description);
        m_meTranscriber->disconnect();
        m_themTranscriber->disconnect();
        return;
    }

    setRecording(true);
    if (!mixer.systemAudioAvailable())
        m_themTranscriber->disconnect(); // the recording goes on with the microphone alone
    setSystemAudioActive(mixer.systemAudioAvailable());
    startLiveDraft();
    playCue(SoundCues::Cue::Start);
    log(QStringLiteral("Recording session started (system audio: %1)")
            .arg(mixer.systemAudioAvailable() ? QStringLiteral("active") : QStringLiteral("unavailable")));
}

std::shared_ptr<Transcriber> TranscriptionSession::makeTranscriber(const TranscriberConfig &config, const Speaker &speaker,
                                                                   const QUuid &meetingId)
{
    TranscriberConfig streamConfig = config;
    streamConfig.spool = m_deps.spool;
    streamConfig.meetingId = meetingId;
    streamConfig.speaker = speaker.rawValue();
    std::shared_ptr<Transcriber> transcriber = m_deps.makeTranscriber(streamConfig);
    const QPointer<TranscriptionSession> session(this);
    const bool isMe = speaker == Speaker::me();

    // Both callbacks arrive on the upload's thread; the work crosses to the main thread.
    transcriber->onTranscriptCompleted = [session, speaker, meetingId](const QString &text, double startOffset) {
        postToMainThread([session, speaker, meetingId, text, startOffset] {
            if (session)
                session->append(text, speaker, meetingId, startOffset);
        });
    };
    transcriber->onLateTranscript = [session, speaker, meetingId](const QString &text, double startOffset) {
        postToMainThread([session, speaker, meetingId, text, startOffset] {
            if (session && session->m_store)
                session->appendLate(*session->m_store, meetingId, speaker, text, startOffset);
        });
    };
    transcriber->onError = [session, isMe](const QString &description) {
        log(QStringLiteral("%1 transcriber error: %2").arg(isMe ? QStringLiteral("Me") : QStringLiteral("Them"), description));
        postToMainThread([session, isMe, description] {
            if (!session)
                return;
            // A failure on the far side alone never raises a message.
            if (isMe)
                session->setError(description);
            session->m_sawTranscriptionError = true;
        });
    };
    return transcriber;
}

// Lines

void TranscriptionSession::append(const QString &text, const Speaker &speaker, const QUuid &meetingId, double startOffset)
{
    if (!m_store)
        return;
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return;

    insertLine(*m_store, trimmed, speaker, meetingId, startOffset);
}

void TranscriptionSession::appendLate(OndelStore &store, const QUuid &meetingId, const Speaker &speaker, const QString &text,
                                      double startOffset)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || !store.meeting(meetingId))
        return;
    // The repeat rule, as far as it still applies: the stream's line just before this one in
    // time. The same line stored twice (a process that died between storing it and letting its
    // audio go) is caught the same way.
    const QList<TranscriptSegment> before =
        store.segmentsBetween(meetingId, {speaker.rawValue()}, startOffset - lateRepeatWindowSeconds, startOffset);
    const auto previous = std::max_element(before.begin(), before.end(), [](const TranscriptSegment &a, const TranscriptSegment &b) {
        return a.timestamp < b.timestamp;
    });
    if (previous != before.end() && previous->text.trimmed().toLower() == trimmed.toLower()) {
        log(QStringLiteral("Dropped repeated utterance: %1").arg(Log::clip(trimmed, 50)));
        return;
    }
    insertLine(store, trimmed, speaker, meetingId, startOffset);
}

void TranscriptionSession::insertLine(OndelStore &store, const QString &trimmed, const Speaker &speaker, const QUuid &meetingId,
                                      double startOffset)
{
    if (m_deps.settings->echoSuppressionEnabled() && m_deps.findEcho) {
        // Only lines near in time can be twins, so only those are read; the finder applies the exact window.
        const double from = startOffset - echoWindowSeconds - 0.01;
        const double to = startOffset + echoWindowSeconds + 0.01;
        if (speaker == Speaker::me()) {
            const auto them = withUnsavedLines(store.segmentsBetween(meetingId, {QStringLiteral("Them")}, from, to), m_unsaved.lines(meetingId), {QStringLiteral("Them")}, from, to);
            if (m_deps.findEcho(trimmed, startOffset, them)) {
                log(QStringLiteral("Echo dropped: %1").arg(Log::clip(trimmed, 48)));
                return;
            }
        } else {
            const QStringList me{QStringLiteral("Me"), QString(QLatin1String(""))};
            const auto mine = withUnsavedLines(store.segmentsBetween(meetingId, me, from, to), m_unsaved.lines(meetingId), me, from, to);
            if (const std::optional<TranscriptSegment> twin = m_deps.findEcho(trimmed, startOffset, mine)) {
                // The earlier mic line was the echo of this one.
                log(QStringLiteral("Echo replaced: %1").arg(Log::clip(trimmed, 48)));
                afterSave(m_unsaved.removeLine(store, twin->id));
            }
        }
    }

    TranscriptSegment segment(trimmed, speaker, startOffset);
    segment.isFinal = true;
    segment.meetingId = meetingId;
    afterSave(m_unsaved.insertLine(store, segment)); // kept in memory if the store refuses it
    setLiveDraft({});
    log(QStringLiteral("[%1] %2").arg(speaker.rawValue(), Log::clip(trimmed, 60)));
}

// Pause and resume

void TranscriptionSession::pauseRecording()
{
    if (!m_isRecording || m_isPaused)
        return;
    m_deps.mixer->pause();
    setPaused(true);
    playCue(SoundCues::Cue::Stop);
    log(QStringLiteral("Recording paused"));
}

void TranscriptionSession::resumeRecording()
{
    if (!m_isRecording || !m_isPaused)
        return;
    m_deps.mixer->resume();
    setPaused(false);
    playCue(SoundCues::Cue::Resume);
    log(QStringLiteral("Recording resumed"));
}

// Stop

void TranscriptionSession::stopRecording()
{
    ++m_startTicket;
    if (!m_isRecording)
        return;

    DualStreamMixer &mixer = *m_deps.mixer;
    mixer.stop();
    mixer.micChunker().flush();
    mixer.systemChunker().flush();
    mixer.micChunker().clearOnChunkReady();
    mixer.systemChunker().clearOnChunkReady();

    if (m_meTranscriber)
        m_meTranscriber->commitBuffer();
    if (m_themTranscriber)
        m_themTranscriber->commitBuffer();

    setRecording(false);
    setPaused(false);
    setSystemAudioActive(false);
    stopLiveDraft();
    playCue(SoundCues::Cue::Stop);
    log(QStringLiteral("Recording stopped, waiting for final transcripts..."));

    // The fields are cleared at once, so a new recording can start while this one drains.
    std::shared_ptr<Transcriber> me = std::exchange(m_meTranscriber, nullptr);
    std::shared_ptr<Transcriber> them = std::exchange(m_themTranscriber, nullptr);
    const std::optional<QUuid> meetingId = std::exchange(m_meetingId, std::nullopt);
    const std::optional<QDateTime> startDate = std::exchange(m_recordingStartDate, std::nullopt);
    if (me && them && meetingId && startDate)
        drain(std::move(me), std::move(them), *meetingId, *startDate);
}

void TranscriptionSession::drain(std::shared_ptr<Transcriber> me, std::shared_ptr<Transcriber> them, QUuid meetingId,
                                 QDateTime startDate)
{
    // The guard bounds nothing: finalizing waits until both upload queues have ended, however
    // long that takes, so that every utterance is decided before it. What bounds the wait is
    // each upload's own time-out. The guard only notes a long wait in the log.
    Clock *clock = m_deps.clock;
    const Clock::TimerId guard = clock->schedule(drainGuard, this, [] {
        log(QStringLiteral("Still waiting for final transcripts..."));
    });

    const QPointer<TranscriptionSession> session(this);
    QObject *context = QCoreApplication::instance();
    // The lambdas hold both transcribers, so their queues stay alive until the end.
    whenFinished(me->uploadChain(), context, [=] {
        whenFinished(them->uploadChain(), context, [=] {
            me->disconnect();
            them->disconnect();
            if (!session)
                return; // and with it, possibly, its clock
            clock->cancel(guard);
            session->finalizeRecording(meetingId, startDate);
        });
    });
}

void TranscriptionSession::finalizeRecording(const std::optional<QUuid> &meetingId, const std::optional<QDateTime> &startDate)
{
    if (!meetingId || !m_store || !startDate)
        return;
    const QUuid id = *meetingId;
    const double duration = secondsBetween(*startDate, m_deps.clock->now());
    afterSave(m_unsaved.updateMeeting(*m_store, id, [duration](Meeting &m) {
        m.isRecording = false;
        m.duration = duration;
    }));
    bool read = false;
    const std::optional<Meeting> meeting = m_unsaved.meeting(*m_store, id, &read);
    if (!meeting && read)
        return; // deleted meanwhile

    // A recording whose upload failed is never deleted this way: the message needs its meeting.
    // Nor is one that could not be read (a failed count is not an empty meeting), nor one whose
    // audio still waits in the spool.
    bool counted = false;
    const bool noLines = m_store->segmentCount(id, &counted) == 0 && counted && m_unsaved.lines(id).isEmpty();
    const bool empty = meeting && noLines && !meeting->summary && !meeting->hasUserNotes() && !m_sawTranscriptionError
        && !(m_deps.spool && m_deps.spool->holdsAudio(id));
    if (empty && m_store->removeMeeting(id)) {
        m_unsaved.forget(id);
        log(QStringLiteral("Empty meeting deleted"));
        Q_EMIT recordingFinalized(id, true);
        return;
    }

    // The transcript is on disk before any model is asked.
    if (m_deps.archive)
        m_deps.archive->archive(id);
    log(QStringLiteral("Recording finalized"));
    generateSummary(id);
    // After the notes have started, so that a listener can tell whether to wait for them.
    Q_EMIT recordingFinalized(id, false);
}

// Notes

void TranscriptionSession::generateSummary(const QUuid &meetingId)
{
    if (!m_store || !m_deps.notes)
        return;
    QList<TranscriptSegment> segments = m_store->segments(meetingId) + m_unsaved.lines(meetingId);
    std::stable_sort(segments.begin(), segments.end(), [](const TranscriptSegment &a, const TranscriptSegment &b) { return a.timestamp < b.timestamp; });
    if (segments.isEmpty())
        return;
    const std::optional<ModelCredentials> credentials = m_deps.credentials->modelCredentials();
    if (!credentials)
        return;
    const QString transcript = Meeting::formattedTranscript(segments);
    if (transcript.isEmpty())
        return;
    const std::optional<Meeting> meeting = m_unsaved.meeting(*m_store, meetingId);
    if (!meeting)
        return;

    setGeneratingSummary(true, meetingId);
    OndelStore *store = m_store;
    m_deps.notes->generate(*credentials, *meeting, transcript, this, [this, store, meetingId](const NotesResult &result) {
        if (!result.error.isEmpty()) {
            log(QStringLiteral("Summary generation failed: %1").arg(result.error));
            setError(QStringLiteral("Summary failed: ") + result.error);
            setGeneratingSummary(false, std::nullopt);
            return;
        }
        // Checked when written, not at the start: the user may have renamed it meanwhile.
        afterSave(m_unsaved.updateMeeting(*store, meetingId, [title = result.title, notes = result.notes](Meeting &m) {
            if (m.allowsAITitle() && title)
                m.title = *title;
            m.summary = notes;
        }));
        const QString title = m_unsaved.meeting(*store, meetingId).value_or(Meeting()).title;
        if (m_deps.archive)
            m_deps.archive->archive(meetingId);
        setGeneratingSummary(false, std::nullopt);
        log(QStringLiteral("Summary generated: %1").arg(title));
    });
}

// Live draft

void TranscriptionSession::startLiveDraft()
{
    LiveDraftEngine *engine = m_deps.liveDraft;
    if (!m_deps.settings->liveDraftEnabled() || !engine || !engine->isAvailable())
        return;
    engine->authorize(this, [this, engine](bool authorized) {
        if (!authorized) {
            log(QStringLiteral("Live draft unavailable: speech recognition not authorised"));
            return;
        }
        if (!m_isRecording)
            return;
        std::shared_ptr<LiveDraftRecognizer> mic = engine->makeRecognizer(24000.0);
        std::shared_ptr<LiveDraftRecognizer> system = engine->makeRecognizer(24000.0);
        const QPointer<TranscriptionSession> session(this);
        // The stream that spoke last shows; no speaker goes with the rough text.
        auto onDraft = [session](const QString &draft) {
            postToMainThread([session, draft] {
                // A draft that crosses after the stop must not bring old text back.
                if (session && session->m_micDraft)
                    session->setLiveDraft(draft);
            });
        };
        mic->onDraft = onDraft;
        system->onDraft = onDraft;
        m_deps.mixer->setOnMicSamples([weak = std::weak_ptr<LiveDraftRecognizer>(mic)](std::span<const float> samples) {
            if (const auto r = weak.lock())
                r->feed(samples);
        });
        m_deps.mixer->setOnSystemSamples([weak = std::weak_ptr<LiveDraftRecognizer>(system)](std::span<const float> samples) {
            if (const auto r = weak.lock())
                r->feed(samples);
        });
        mic->start();
        system->start();
        m_micDraft = std::move(mic);
        m_systemDraft = std::move(system);
        log(QStringLiteral("Live draft running on-device"));
    });
}

void TranscriptionSession::stopLiveDraft()
{
    m_deps.mixer->setOnMicSamples(nullptr);
    m_deps.mixer->setOnSystemSamples(nullptr);
    if (m_micDraft)
        m_micDraft->stop();
    if (m_systemDraft)
        m_systemDraft->stop();
    m_micDraft.reset();
    m_systemDraft.reset();
    setLiveDraft({});
}

void TranscriptionSession::afterSave(bool saved)
{
    // A finished meeting whose kept writes landed late is written to the archive again.
    for (const QUuid &id : m_unsaved.takeLanded())
        if (id != m_meetingId && m_deps.archive && m_store->meeting(id))
            m_deps.archive->archive(id);
    if (saved || m_saveRetry)
        return;
    log(QStringLiteral("Save failed, kept for the next one: %1").arg(m_store->lastError()));
    m_saveRetry = m_deps.clock->schedule(saveRetry, this, [this] {
        m_saveRetry.reset();
        retrySaves();
    });
}

void TranscriptionSession::retrySaves()
{
    afterSave(m_unsaved.flush(*m_store));
}

void TranscriptionSession::playCue(SoundCues::Cue cue)
{
    if (m_deps.sounds && m_deps.settings->soundEnabled())
        m_deps.sounds->play(cue);
}

// Observable fields

void TranscriptionSession::setRecording(bool value)
{
    if (m_isRecording == value)
        return;
    m_isRecording = value;
    Q_EMIT isRecordingChanged();
}

void TranscriptionSession::setPaused(bool value)
{
    if (m_isPaused == value)
        return;
    m_isPaused = value;
    Q_EMIT isPausedChanged();
}

void TranscriptionSession::setError(const QString &value)
{
    if (m_error == value)
        return;
    m_error = value;
    Q_EMIT errorChanged();
}

void TranscriptionSession::setSystemAudioActive(bool value)
{
    if (m_systemAudioActive == value)
        return;
    m_systemAudioActive = value;
    Q_EMIT systemAudioActiveChanged();
}

void TranscriptionSession::setLiveDraft(const QString &value)
{
    if (m_liveDraft == value)
        return;
    m_liveDraft = value;
    Q_EMIT liveDraftChanged();
}

void TranscriptionSession::setGeneratingSummary(bool value, const std::optional<QUuid> &meetingId)
{
    if (m_generatingSummaryMeetingID != meetingId) {
        m_generatingSummaryMeetingID = meetingId;
        Q_EMIT generatingSummaryMeetingIDChanged();
    }
    if (m_isGeneratingSummary != value) {
        m_isGeneratingSummary = value;
        Q_EMIT isGeneratingSummaryChanged();
    }
}
