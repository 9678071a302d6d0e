#include "VrelTranscriber.h"

#include "Base64Text.h"
#include "CustomDictionary.h"
#include "Log.h"
#include "SerialTaskQueue.h"
#include "TranscriptionClient.h"
#include "TranscriptionRequest.h"

#include <QThread>

VrelTranscriber::VrelTranscriber(const TranscriberConfig &config, Clock &clock, PromptSource prompt)
    : m_credentials(config.credentials)
    , m_recordingId(config.recordingId)
    , m_language(config.language)
    , m_sessionStart(config.sessionStart)
    , m_clock(clock)
    , m_prompt(std::move(prompt))
    , m_thread(new QThread)
    , m_home(new QObject)
{
    m_thread->setObjectName(QStringLiteral("VrelTranscriber upload"));
    m_queue = new SerialTaskQueue(m_home);
    m_client = new TranscriptionClient(m_clock, m_home);
    m_home->moveToThread(m_thread);
    QObject::connect(m_thread, &QThread::finished, m_home, &QObject::deleteLater);
    m_thread->start();
}

VrelTranscriber::~VrelTranscriber()
{
    m_thread->quit();
    if (QThread::currentThread() == m_thread) {
        // Released by its own last upload: the thread ends once this call has returned to its
        // loop, and takes the queue and the client with it.
        QObject::connect(m_thread, &QThread::finished, m_thread, &QObject::deleteLater);
        return;
    }
    m_thread->wait();
    delete m_thread;
}

TranscriberFactory VrelTranscriber::factory(Clock &clock, Settings &settings)
{
    PromptSource prompt = CustomDictionary::liveFragment(settings);
    return [&clock, prompt](const TranscriberConfig &config) -> std::shared_ptr<Transcriber> {
        return std::make_shared<VrelTranscriber>(config, clock, prompt);
    };
}

void VrelTranscriber::connect()
{
    {
        QMutexLocker lock(&m_bufferLock);
        m_cutter.resume();
    }
    setState(State::Listening);
    qCInfo(lcOndel).noquote() << QStringLiteral("VrelTranscriber ready (model=%1, lang=%2)")
                                     .arg(QLatin1String(model), m_language && !m_language->isEmpty() ? *m_language : QStringLiteral("auto"));
}

void VrelTranscriber::sendAudio(const QString &base64Chunk)
{
    // Reused per thread: the cutter copies what it keeps.
    thread_local QByteArray pcm;
    if (!Base64Text::decode(base64Chunk, pcm))
        return; // the clock does not move for a chunk that is not audio
    const float level = UtteranceCutter::level(pcm);

    std::optional<UtteranceCutter::Utterance> closed;
    {
        QMutexLocker lock(&m_bufferLock);
        // Only the stream's first chunk reads the wall clock.
        const double wallOffset = m_cutter.hasStreamStart() ? 0.0 : secondsBetween(m_sessionStart, m_clock.now());
        closed = m_cutter.push(pcm, level, wallOffset);
    }
    if (closed)
        enqueue(std::move(*closed));
}

void VrelTranscriber::commitBuffer()
{
    std::optional<UtteranceCutter::Utterance> closed;
    {
        QMutexLocker lock(&m_bufferLock);
        closed = m_cutter.commit();
    }
    if (closed)
        enqueue(std::move(*closed));
}

void VrelTranscriber::disconnect()
{
    {
        QMutexLocker lock(&m_bufferLock);
        m_cutter.stop();
    }
    setState(State::Idle);
}

QFuture<void> VrelTranscriber::uploadChain() const
{
    return m_queue->tail();
}

VrelTranscriber::State VrelTranscriber::state() const
{
    QMutexLocker lock(&m_stateLock);
    return m_state;
}

void VrelTranscriber::enqueue(UtteranceCutter::Utterance utterance)
{
    // The queue holds this object while the upload runs, so `this` is safe inside the task.
    m_queue->enqueue(weak_from_this(), [this, utterance = std::move(utterance)](SerialTaskQueue::Done done) {
        transcribe(utterance, std::move(done));
    });
}

void VrelTranscriber::transcribe(const UtteranceCutter::Utterance &utterance, std::function<void()> done)
{
    setState(State::Transcribing);
    const QByteArray wav = TranscriptionRequest::wavFile(utterance.pcm, sampleRate);
    const QString prompt = m_prompt ? m_prompt() : QString();
    attempt(wav, prompt, utterance.startOffset, 1, std::move(done));
}

void VrelTranscriber::attempt(const QByteArray &wav, const QString &prompt, double startOffset, int number,
                              std::function<void()> done)
{
    const TranscriptionRequest::Fields fields{QLatin1String(model), prompt, m_language};
    m_client->send(m_credentials, m_recordingId, fields, wav, [=, this](const TranscriptionOutcome &outcome) {
        if (outcome.ok) {
            deliver(outcome.text, startOffset);
            finishUpload(done);
            return;
        }
        if (number == 1) {
            // The first failure passes in silence: the same bytes go again after a pause.
            m_clock.schedule(retryPause, m_client, [=, this] { attempt(wav, prompt, startOffset, 2, done); });
            return;
        }
        qCInfo(lcOndel).noquote() << QStringLiteral("Vrel transcription failed: %1").arg(outcome.error);
        if (onError)
            onError(outcome.error);
        finishUpload(done);
    });
}

void VrelTranscriber::deliver(const QString &text, double startOffset)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || isRepeatOfLastEmission(trimmed))
        return;
    if (onTranscriptCompleted)
        onTranscriptCompleted(trimmed, startOffset);
}

void VrelTranscriber::finishUpload(const std::function<void()> &done)
{
    bool stopped;
    {
        QMutexLocker lock(&m_bufferLock);
        stopped = m_cutter.isStopped();
    }
    setState(stopped ? State::Idle : State::Listening);
    done(); // may release the last hold on this object
}

bool VrelTranscriber::isRepeatOfLastEmission(const QString &text)
{
    const QString normalized = text.toLower().trimmed();
    {
        QMutexLocker lock(&m_bufferLock);
        if (normalized != m_lastEmittedText) {
            m_lastEmittedText = normalized;
            return false;
        }
    }
    qCInfo(lcOndel).noquote() << QStringLiteral("Dropped repeated utterance: %1").arg(Log::clip(text, 50));
    return true;
}

void VrelTranscriber::setState(State state)
{
    {
        QMutexLocker lock(&m_stateLock);
        if (m_state == state)
            return;
        m_state = state;
    }
    if (onStateChanged)
        onStateChanged(state);
}
