#include "AudioChunker.h"

#include <QtGlobal>
#include <QtEndian>

#include <cmath>
#include <cstdint>

namespace {

// Writes two bytes per sample to out. Returns false if a sample was NaN; the check rides along in
// the loop instead of costing a branch per sample.
bool writePcm16(std::span<const float> samples, char *out)
{
    bool sawNaN = false;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const float sample = samples[i];
        sawNaN |= std::isnan(sample);
        // Written so that a NaN lands on -1 and the cast below stays defined until we fail.
        const float clamped = !(sample >= -1.0f) ? -1.0f : (sample > 1.0f ? 1.0f : sample);
        // The float-to-int conversion truncates toward zero: 0.5 gives 16383, -1.5 gives -32767.
        const auto value = static_cast<std::int16_t>(clamped * 32767.0f);
        qToLittleEndian<std::int16_t>(value, out + 2 * i);
    }
    return !sawNaN;
}

void failOnNaN()
{
    qFatal("AudioChunker: NaN sample in the audio stream; the capture source is broken");
}

} // namespace

AudioChunker::AudioChunker(qsizetype chunkSize)
    : m_chunkSize(chunkSize)
{
    Q_ASSERT(chunkSize > 0);
    m_buffer.reserve(static_cast<std::size_t>(2 * chunkSize));
}

QByteArray AudioChunker::toPcm16(std::span<const float> samples)
{
    QByteArray bytes(static_cast<qsizetype>(samples.size() * 2), Qt::Uninitialized);
    if (!writePcm16(samples, bytes.data()))
        failOnNaN();
    return bytes;
}

void AudioChunker::emitChunk(std::span<const float> samples) const
{
    const auto callback = m_onChunkReady.load();
    if (!callback)
        return;
    // Reused per thread: the chunk's bytes are only an intermediate step to the base64 text.
    thread_local QByteArray pcm;
    pcm.resize(static_cast<qsizetype>(samples.size() * 2));
    if (!writePcm16(samples, pcm.data()))
        failOnNaN();
    (*callback)(QString::fromLatin1(pcm.toBase64()));
}

void AudioChunker::feed(std::span<const float> samples)
{
    if (samples.empty())
        return;
    const auto chunkSize = static_cast<std::size_t>(m_chunkSize);
    // The chunk leaves the buffer under the lock and is converted after unlocking.
    thread_local std::vector<float> chunk;

    std::unique_lock guard(m_lock);
    if (m_readOffset > 0) {
        m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_readOffset));
        m_readOffset = 0;
    }
    m_buffer.insert(m_buffer.end(), samples.begin(), samples.end());
    while (m_buffer.size() - m_readOffset >= chunkSize) {
        const auto first = m_buffer.begin() + static_cast<std::ptrdiff_t>(m_readOffset);
        chunk.assign(first, first + static_cast<std::ptrdiff_t>(chunkSize));
        m_readOffset += chunkSize;
        guard.unlock();
        emitChunk(chunk);
        guard.lock();
    }
    if (m_readOffset == m_buffer.size()) {
        m_buffer.clear();
        m_readOffset = 0;
    }
}

void AudioChunker::flush()
{
    std::vector<float> rest;
    {
        std::lock_guard guard(m_lock);
        rest.assign(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_readOffset), m_buffer.end());
        m_buffer.clear();
        m_readOffset = 0;
    }
    if (!rest.empty())
        emitChunk(rest);
}

void AudioChunker::clearBuffer()
{
    std::lock_guard guard(m_lock);
    m_buffer.clear();
    m_readOffset = 0;
}

qsizetype AudioChunker::bufferedSamples() const
{
    std::lock_guard guard(m_lock);
    return static_cast<qsizetype>(m_buffer.size() - m_readOffset);
}

void AudioChunker::setOnChunkReady(Callback callback)
{
    m_onChunkReady.store(callback ? std::make_shared<const Callback>(std::move(callback)) : nullptr);
}

void AudioChunker::clearOnChunkReady()
{
    m_onChunkReady.store(nullptr);
}
