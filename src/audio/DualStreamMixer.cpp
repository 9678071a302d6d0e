#include "DualStreamMixer.h"

#include "AudioLog.h"

Q_LOGGING_CATEGORY(lcAudio, "ondel.audio")

namespace {

void setSamplesCallback(std::atomic<std::shared_ptr<const DualStreamMixer::SamplesCallback>> &slot,
                        DualStreamMixer::SamplesCallback callback)
{
    slot.store(callback ? std::make_shared<const DualStreamMixer::SamplesCallback>(std::move(callback))
                        : nullptr);
}

} // namespace

DualStreamMixer::DualStreamMixer(AudioRecorder *micRecorder, AudioRecorder *systemRecorder)
    : m_micRecorder(micRecorder)
    , m_systemRecorder(systemRecorder)
    , m_mic(std::make_shared<Stream>())
    , m_system(std::make_shared<Stream>())
{
    Q_ASSERT(micRecorder && systemRecorder);
}

// The recorders may already be gone; the weak references in their callbacks cover a late block.
DualStreamMixer::~DualStreamMixer() = default;

AudioChunker &DualStreamMixer::micChunker()
{
    return m_mic->chunker;
}

AudioChunker &DualStreamMixer::systemChunker()
{
    return m_system->chunker;
}

void DualStreamMixer::setOnMicSamples(SamplesCallback callback)
{
    setSamplesCallback(m_mic->onSamples, std::move(callback));
}

void DualStreamMixer::setOnSystemSamples(SamplesCallback callback)
{
    setSamplesCallback(m_system->onSamples, std::move(callback));
}

AudioRecorder::ChunkCallback DualStreamMixer::feeder(const std::shared_ptr<Stream> &stream, bool forwardSamples)
{
    return [weakStream = std::weak_ptr<Stream>(stream), forwardSamples](std::span<const float> samples) {
        const auto live = weakStream.lock();
        if (!live)
            return;
        live->chunker.feed(samples);
        if (!forwardSamples)
            return;
        if (const auto onSamples = live->onSamples.load())
            (*onSamples)(samples);
    };
}

std::optional<RecorderError> DualStreamMixer::start()
{
    if (m_isRunning)
        return std::nullopt;

    m_micRecorder->setOnAudioChunk(feeder(m_mic, true));
    m_systemRecorder->setOnAudioChunk(feeder(m_system, true));

    if (auto error = m_micRecorder->start()) {
        // Nothing was started; leave both recorders without our callbacks.
        m_micRecorder->clearOnAudioChunk();
        m_systemRecorder->clearOnAudioChunk();
        return error;
    }

    if (const auto error = m_systemRecorder->start()) {
        m_systemRecorder->clearOnAudioChunk();
        m_systemAudioAvailable = false;
        qCInfo(lcAudio).noquote()
            << QStringLiteral("System audio unavailable: %1. Running mic-only mode.").arg(error->description);
    } else {
        m_systemAudioAvailable = true;
        qCInfo(lcAudio).noquote() << QStringLiteral("Dual stream: mic + system audio active");
    }

    m_isRunning = true;
    return std::nullopt;
}

void DualStreamMixer::pause()
{
    if (!m_isRunning || m_isPaused)
        return;
    m_isPaused = true;
    m_micRecorder->clearOnAudioChunk();
    if (m_systemAudioAvailable)
        m_systemRecorder->clearOnAudioChunk();
    qCInfo(lcAudio).noquote() << QStringLiteral("Dual stream paused");
}

void DualStreamMixer::resume()
{
    if (!m_isRunning || !m_isPaused)
        return;
    m_isPaused = false;
    // Chunkers only: the live draft stays silent for the rest of the recording.
    m_micRecorder->setOnAudioChunk(feeder(m_mic, false));
    if (m_systemAudioAvailable)
        m_systemRecorder->setOnAudioChunk(feeder(m_system, false));
    qCInfo(lcAudio).noquote() << QStringLiteral("Dual stream resumed");
}

void DualStreamMixer::stop()
{
    if (!m_isRunning)
        return;
    // Stop before flushing, so at most the last block in flight can overtake the flush.
    m_micRecorder->stop();
    m_micRecorder->clearOnAudioChunk();
    m_mic->chunker.flush();
    if (m_systemAudioAvailable) {
        m_systemRecorder->stop();
        m_systemRecorder->clearOnAudioChunk();
        m_system->chunker.flush();
    }
    m_isRunning = false;
    m_isPaused = false;
    qCInfo(lcAudio).noquote() << QStringLiteral("Dual stream stopped");
}
