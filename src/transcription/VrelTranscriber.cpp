#include "VrelTranscriber.h"

#include "CustomDictionary.h"
#include "Log.h"
#include "MainThread.h"
#include "SerialTaskQueue.h"
#include "TranscriptionClient.h"
#include "TranscriptionRequest.h"

#include <QPointer>
#include <QThread>

VrelTranscriber::VrelTranscriber(const TranscriberConfig &config, Clock &clock, PromptSource prompt)
    : m_credentials(config.credentials)
    , m_recordingId(config.recordingId)
    , m_language(config.language)
    , m_sessionStart(config.sessionStart)
    , m_clock(clock)
    , m_prompt(std::move(prompt))
    , m_spool(config.spool)
    , m_meetingId(config.meetingId)
    , m_speaker(config.speaker)
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

void VrelTranscriber::sendAudio(QByteArrayView pcm)
{
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
    // Once more for the audio that failed: one attempt each, ended by the first failure, so
    // the stop waits no longer than for one more upload.
    m_queue->enqueue(weak_from_this(), [this](Done done) { retryFailed(std::move(done)); });
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
    auto job = std::make_shared<Job>();
    job->pcm = std::move(utterance.pcm);
    job->startOffset = utterance.startOffset;
    // Spooled on the upload thread at once, not at the upload's turn: the capture thread never
    // waits on the disk, and audio queued behind a slow upload is already safe.
    // Kept even if this transcriber is gone by then: the audio waits for the next launch.
    QMetaObject::invokeMethod(m_home, [job, spool = m_spool, meetingId = m_meetingId, speaker = m_speaker] {
        prepare(*job, spool, meetingId, speaker);
    }, Qt::QueuedConnection);
    // The queue holds this object while the upload runs, so `this` is safe inside the task.
    m_queue->enqueue(weak_from_this(), [this, job](Done done) { transcribe(job, std::move(done)); });
}

void VrelTranscriber::prepare(Job &job, UtteranceSpool *spool, const QUuid &meetingId, const QString &speaker)
{
    if (std::exchange(job.prepared, true))
        return;
    job.wav = TranscriptionRequest::wavFile(job.pcm, sampleRate);
    job.pcm = QByteArray();
    if (spool)
        job.spooled = spool->add(meetingId, speaker, job.startOffset, job.wav);
}

void VrelTranscriber::transcribe(const JobPtr &job, Done done)
{
    setState(State::Transcribing);
    prepare(*job, m_spool, m_meetingId, m_speaker); // when the queue came to it before the posted write
    const QString prompt = m_prompt ? m_prompt() : QString();
    attempt(job, prompt, 1, std::move(done));
}

void VrelTranscriber::send(const QByteArray &wav, const QString &prompt, std::function<void(const TranscriptionOutcome &)> done)
{
    const TranscriptionRequest::Fields fields{QLatin1String(model), prompt, m_language};
    m_client->send(m_credentials, m_recordingId, fields, wav, std::move(done));
}

void VrelTranscriber::attempt(const JobPtr &job, const QString &prompt, int number, Done done)
{
    send(job->wav, prompt, [=, this](const TranscriptionOutcome &outcome) {
        if (outcome.ok) {
            deliver(outcome.text, job->startOffset, false);
            handled(*job);
            queueRetry(); // the service answers again
            finishUpload(done);
            return;
        }
        if (number == 1) {
            // The first failure passes in silence: the same bytes go again after a pause.
            m_clock.schedule(retryPause, m_client, [=, this] { attempt(job, prompt, 2, done); });
            return;
        }
        qCInfo(lcOndel).noquote() << QStringLiteral("Vrel transcription failed: %1").arg(outcome.error);
        if (onError)
            onError(outcome.error);
        // The audio waits for another try; from the spool when it is there, so that a long
        // outage does not pile up in memory.
        if (job->spooled)
            job->wav = QByteArray();
        m_failed.push_back(job);
        finishUpload(done);
    });
}

void VrelTranscriber::queueRetry()
{
    if (m_failed.empty() || std::exchange(m_retryQueued, true))
        return;
    m_queue->enqueue(weak_from_this(), [this](Done done) {
        m_retryQueued = false;
        retryFailed(std::move(done));
    });
}

void VrelTranscriber::retryFailed(Done done)
{
    while (!m_failed.empty()) {
        const JobPtr job = m_failed.front();
        QByteArray wav = job->wav;
        if (wav.isEmpty() && job->spooled && m_spool)
            wav = m_spool->read(*job->spooled).value_or(QByteArray()); // damaged or dropped: logged there
        if (wav.isEmpty()) {
            m_failed.pop_front();
            continue;
        }
        setState(State::Transcribing);
        send(wav, m_prompt ? m_prompt() : QString(), [=, this](const TranscriptionOutcome &outcome) {
            if (!outcome.ok) {
                qCInfo(lcOndel).noquote() << QStringLiteral("Spooled audio not transcribed yet (%1 part(s)): %2").arg(m_failed.size()).arg(outcome.error);
                finishUpload(done);
                return;
            }
            std::erase(m_failed, job);
            deliver(outcome.text, job->startOffset, true);
            handled(*job);
            retryFailed(done);
        });
        return;
    }
    finishUpload(done);
}

void VrelTranscriber::deliver(const QString &text, double startOffset, bool late)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return;
    if (late && onLateTranscript) {
        onLateTranscript(trimmed, startOffset);
        return;
    }
    if (!late && isRepeatOfLastEmission(trimmed))
        return;
    if (onTranscriptCompleted)
        onTranscriptCompleted(trimmed, startOffset);
}

void VrelTranscriber::handled(const Job &job)
{
    if (!job.spooled || !m_spool)
        return;
    // Behind the line's own crossing to the main thread: the audio goes once the line is stored.
    postToMainThread([spool = QPointer<UtteranceSpool>(m_spool), entry = *job.spooled] {
        if (spool)
            spool->remove(entry);
    });
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
