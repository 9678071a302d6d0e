#include "AudioChunker.h"

#include <QtGlobal>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

// Writes two bytes per sample to out. Returns false if a sample was NaN; the check rides along in
// the loop instead of costing a branch per sample. Branch-free, so that it compiles to vector code.
bool writePcm16(std::span<const float> samples, char *out)
{
    int sawNaN = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const float sample = samples[i];
        sawNaN |= std::isnan(sample);
        // Written so that a NaN lands on -1 and the cast below stays defined until we fail.
        float clamped = sample >= -1.0f ? sample : -1.0f;
        clamped = clamped <= 1.0f ? clamped : 1.0f;
        // The float-to-int conversion truncates toward zero: 0.5 gives 16383, -1.5 gives -32767.
        const auto value = static_cast<std::int16_t>(static_cast<std::int32_t>(clamped * 32767.0f));
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
    // Reused per thread: the consumer sees the bytes only for the call.
    thread_local std::vector<char> pcm;
    pcm.resize(samples.size() * 2);
    if (!writePcm16(samples, pcm.data()))
        failOnNaN();
    (*callback)(QByteArrayView(pcm.data(), static_cast<qsizetype>(pcm.size())));
}

void AudioChunker::feed(std::span<const float> samples)
{
    if (samples.empty())
        return;
    const auto chunkSize = static_cast<std::size_t>(m_chunkSize);
    // A chunk completed in the buffer leaves it under the lock and is converted after unlocking.
    thread_local std::vector<float> chunk;

    std::unique_lock guard(m_lock);
    if (!m_buffer.empty()) {
        // The partial chunk is topped up from the front of the block.
        const std::size_t take = std::min(chunkSize - m_buffer.size(), samples.size());
        m_buffer.insert(m_buffer.end(), samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(take));
        samples = samples.subspan(take);
        if (m_buffer.size() < chunkSize)
            return;
        chunk.swap(m_buffer);
        m_buffer.clear();
        guard.unlock();
        emitChunk(chunk);
    } else {
        guard.unlock();
    }
    // Whole chunks go on straight from the block: capture blocks seldom line up with chunks, and
    // copying every sample in and out of the buffer cost more than the conversion.
    while (samples.size() >= chunkSize) {
        emitChunk(samples.first(chunkSize));
        samples = samples.subspan(chunkSize);
    }
    if (samples.empty())
        return;
    guard.lock();
    m_buffer.insert(m_buffer.end(), samples.begin(), samples.end());
}

void AudioChunker::flush()
{
    std::vector<float> rest;
    {
        std::lock_guard guard(m_lock);
        rest.swap(m_buffer);
    }
    if (!rest.empty())
        emitChunk(rest);
}

void AudioChunker::clearBuffer()
{
    std::lock_guard guard(m_lock);
    m_buffer.clear();
}

qsizetype AudioChunker::bufferedSamples() const
{
    std::lock_guard guard(m_lock);
    return static_cast<qsizetype>(m_buffer.size());
}

void AudioChunker::setOnChunkReady(Callback callback)
{
    m_onChunkReady.store(callback ? std::make_shared<const Callback>(std::move(callback)) : nullptr);
}

void AudioChunker::clearOnChunkReady()
{
    m_onChunkReady.store(nullptr);
}
