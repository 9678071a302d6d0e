#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

// Cuts a stream of mono float samples into fixed chunks and hands each on as little-endian signed
// 16-bit PCM. One chunk of 2400 samples is 100 ms at 24000 Hz, the time unit of the transcription
// path. The bytes go on as they are, not as base64 text: nothing in the process needs text, and
// encoding and decoding every chunk was a third of the capture thread's own work.
//
// feed() runs on a capture thread, flush() and clearBuffer() on the main thread. The lock guards
// the buffer only; the conversion and the callback run outside it, so a slow consumer never blocks
// a flush or another feeder.
class AudioChunker
{
public:
    // The bytes are valid for the call only; a consumer that keeps them copies them.
    using Callback = std::function<void(QByteArrayView pcm)>;

    static constexpr qsizetype defaultChunkSize = 2400;

    explicit AudioChunker(qsizetype chunkSize = defaultChunkSize);

    AudioChunker(const AudioChunker &) = delete;
    AudioChunker &operator=(const AudioChunker &) = delete;

    qsizetype chunkSize() const { return m_chunkSize; }

    // Emits every whole chunk the buffer holds after appending, in order.
    void feed(std::span<const float> samples);
    // Emits whatever is buffered as one (usually shorter) chunk; nothing if the buffer is empty.
    void flush();
    // Drops buffered samples without emitting them.
    void clearBuffer();
    // Samples waiting for a whole chunk.
    qsizetype bufferedSamples() const;

    // May be set and cleared from any thread while another one feeds; a chunk being delivered at
    // that moment still reaches the old callback.
    void setOnChunkReady(Callback callback);
    void clearOnChunkReady();

    // Clamp to [-1, 1], scale by 32767 and truncate toward zero; two bytes per sample, little-endian.
    // A NaN sample is a programming fault and ends the process.
    static QByteArray toPcm16(std::span<const float> samples);

private:
    void emitChunk(std::span<const float> samples) const;

    const qsizetype m_chunkSize;
    // Less than one chunk: the start of the next one.
    std::vector<float> m_buffer;
    mutable std::mutex m_lock;
    std::atomic<std::shared_ptr<const Callback>> m_onChunkReady;
};
