#pragma once

#include "Clock.h"
#include "Transcriber.h"
#include "UtteranceCutter.h"
#include "UtteranceSpool.h"

#include <QMutex>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>

class QThread;
class SerialTaskQueue;
class Settings;
class TranscriptionClient;
struct TranscriptionOutcome;

// One stream of 100 ms chunks into finished lines. Not a streaming connection: the stream is cut
// into utterances by level, and each utterance is posted as one WAV file. Two per recording,
// one per stream, each with its own upload thread; they know nothing of each other.
//
// sendAudio runs on the capture thread and only counts and copies under the buffer lock. Uploads
// run one at a time, in order, on the transcriber's thread, where the callbacks are called too.
// Each closed utterance is kept in the spool (written on the upload thread, never the capture
// thread) until its answer has been handled. Audio that fails twice stays there and is tried
// again, one attempt each, when a later upload succeeds and once at stop.
// Always made by std::make_shared: queued uploads hold it weakly.
class VrelTranscriber final : public Transcriber, public std::enable_shared_from_this<VrelTranscriber>
{
public:
    enum class State { Idle, Listening, Transcribing };

    static constexpr auto model = "whisper-v3-turbo";
    static constexpr int sampleRate = UtteranceCutter::sampleRate;
    static constexpr std::chrono::milliseconds retryPause{800};

    // Read anew for every upload, from the upload's thread.
    using PromptSource = std::function<QString()>;

    VrelTranscriber(const TranscriberConfig &config, Clock &clock, PromptSource prompt = {});
    ~VrelTranscriber() override;

    // Builds transcribers on `clock`, with the custom dictionary of `settings` as their prompt.
    static TranscriberFactory factory(Clock &clock, Settings &settings);

    void connect() override;
    void sendAudio(QByteArrayView pcmChunk) override;
    void commitBuffer() override;
    void disconnect() override;
    QFuture<void> uploadChain() const override;

    State state() const;

    // Called on each change of state, on whichever thread changed it.
    std::function<void(State state)> onStateChanged;
    // Kept for a streaming transcriber; this one has no partial text and never calls it.
    std::function<void(const QString &delta)> onTranscriptDelta;

private:
    // One closed utterance on its way. Touched on the upload thread only.
    struct Job
    {
        QByteArray pcm;
        double startOffset = 0;
        bool prepared = false;
        QByteArray wav; // released once the spool holds it and the first two attempts are over
        std::optional<UtteranceSpool::Entry> spooled;
    };
    using JobPtr = std::shared_ptr<Job>;
    using Done = std::function<void()>;

    void enqueue(UtteranceCutter::Utterance utterance);
    // Upload thread: builds the WAV file and spools it, once.
    static void prepare(Job &job, UtteranceSpool *spool, const QUuid &meetingId, const QString &speaker);
    // Upload thread: one utterance, at most two attempts.
    void transcribe(const JobPtr &job, Done done);
    void attempt(const JobPtr &job, const QString &prompt, int number, Done done);
    // Upload thread: the audio that failed, one attempt each, oldest first, until one fails.
    void queueRetry();
    void retryFailed(Done done);
    void send(const QByteArray &wav, const QString &prompt, std::function<void(const TranscriptionOutcome &)> done);
    void deliver(const QString &text, double startOffset, bool late);
    // The answer has been handled: the spool lets the audio go.
    void handled(const Job &job);
    void finishUpload(const Done &done);
    bool isRepeatOfLastEmission(const QString &text);
    void setState(State state);

    const ModelCredentials m_credentials;
    const QString m_recordingId;
    const std::optional<QString> m_language;
    const QDateTime m_sessionStart;
    Clock &m_clock;
    const PromptSource m_prompt;
    UtteranceSpool *const m_spool;
    const QUuid m_meetingId;
    const QString m_speaker;

    // Guards the cutter and the last line; never held with m_stateLock, never across a callback.
    mutable QMutex m_bufferLock;
    UtteranceCutter m_cutter;
    QString m_lastEmittedText;

    mutable QMutex m_stateLock;
    State m_state = State::Idle;

    QThread *m_thread = nullptr;
    QObject *m_home = nullptr; // on m_thread: parent of the queue and the client
    SerialTaskQueue *m_queue = nullptr;
    TranscriptionClient *m_client = nullptr;

    // Upload thread only: audio that failed twice in this recording, oldest first.
    std::deque<JobPtr> m_failed;
    bool m_retryQueued = false;
};
