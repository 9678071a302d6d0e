#pragma once

#include "Clock.h"
#include "Transcriber.h"
#include "UtteranceCutter.h"

#include <QMutex>

#include <chrono>
#include <functional>
#include <memory>

class QThread;
class SerialTaskQueue;
class Settings;
class TranscriptionClient;

// One stream of 100 ms chunks into finished lines. Not a streaming connection: the stream is cut
// into utterances by level, and each utterance is posted as one WAV file. Two per recording,
// one per stream, each with its own upload thread; they know nothing of each other.
//
// sendAudio runs on the capture thread and only counts and copies under the buffer lock. Uploads
// run one at a time, in order, on the transcriber's thread, where the callbacks are called too.
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
    void sendAudio(const QString &base64Chunk) override;
    void commitBuffer() override;
    void disconnect() override;
    QFuture<void> uploadChain() const override;

    State state() const;

    // Called on each change of state, on whichever thread changed it.
    std::function<void(State state)> onStateChanged;
    // Kept for a streaming transcriber; this one has no partial text and never calls it.
    std::function<void(const QString &delta)> onTranscriptDelta;

private:
    void enqueue(UtteranceCutter::Utterance utterance);
    // Upload thread: one utterance, at most two attempts.
    void transcribe(const UtteranceCutter::Utterance &utterance, std::function<void()> done);
    void attempt(const QByteArray &wav, const QString &prompt, double startOffset, int number, std::function<void()> done);
    void deliver(const QString &text, double startOffset);
    void finishUpload(const std::function<void()> &done);
    bool isRepeatOfLastEmission(const QString &text);
    void setState(State state);

    const ModelCredentials m_credentials;
    const QString m_recordingId;
    const std::optional<QString> m_language;
    const QDateTime m_sessionStart;
    Clock &m_clock;
    const PromptSource m_prompt;

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
};
