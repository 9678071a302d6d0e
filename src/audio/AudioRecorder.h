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

    // Why a running recorder hears nothing although it runs: its device went and no other is
    // there, or the only one on offer is of the wrong kind (a monitor of the output offered as
    // the input). The recorder waits meanwhile, handing on silence, and picks a device up when
    // one appears.
    enum class Silence { None, NoDevice, WrongKindOfDevice };
    Silence silence() const { return m_silence.load(); }
    // Called on any thread whenever silence() changes; may be set from any thread.
    void setOnSilenceChanged(std::function<void()> callback)
    {
        m_onSilenceChanged.store(callback ? std::make_shared<const std::function<void()>>(std::move(callback)) : nullptr);
    }

protected:
    // Called by the implementation on its capture thread for every block.
    void deliver(std::span<const float> samples) const
    {
        if (const auto callback = m_onAudioChunk.load())
            (*callback)(samples);
    }
    void setSilence(Silence silence)
    {
        if (m_silence.exchange(silence) == silence)
            return;
        if (const auto callback = m_onSilenceChanged.load())
            (*callback)();
    }

private:
    std::atomic<std::shared_ptr<const ChunkCallback>> m_onAudioChunk;
    std::atomic<Silence> m_silence{Silence::None};
    std::atomic<std::shared_ptr<const std::function<void()>>> m_onSilenceChanged;
};
