#pragma once

#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>

struct RecorderError
{
    QString description;
};

// A source of mono 32-bit float samples at 24000 Hz. The platform recorders (and test sources)
// implement it; the mixer sees only this.
class AudioRecorder
{
public:
    using ChunkCallback = std::function<void(std::span<const float> samples)>;

    virtual ~AudioRecorder() = default;

    // Starts capture. On failure nothing runs and the error carries the user's text.
    virtual std::optional<RecorderError> start() = 0;
    virtual void stop() = 0;
    // Current level, 0 to 1, for a UI timer to read from any thread.
    virtual float level() const = 0;

    // May be set and cleared from any thread while capture runs; a block being delivered at that
    // moment still reaches the old callback.
    void setOnAudioChunk(ChunkCallback callback)
    {
        m_onAudioChunk.store(callback ? std::make_shared<const ChunkCallback>(std::move(callback)) : nullptr);
    }
    void clearOnAudioChunk() { m_onAudioChunk.store(nullptr); }
    bool hasOnAudioChunk() const { return m_onAudioChunk.load() != nullptr; }

protected:
    // Called by the implementation on its capture thread for every block.
    void deliver(std::span<const float> samples) const
    {
        if (const auto callback = m_onAudioChunk.load())
            (*callback)(samples);
    }

private:
    std::atomic<std::shared_ptr<const ChunkCallback>> m_onAudioChunk;
};
