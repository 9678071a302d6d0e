#pragma once

#include "AudioChunker.h"
#include "AudioRecorder.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>

// Runs the microphone and the system recorder side by side, each into its own chunker. The two
// streams are never added together: which stream a line came from is how its speaker is known.
//
// Used on the main thread. The recorders' callbacks run on their capture threads and reach the
// mixer's streams through a weak reference, so a late block after the mixer is gone is dropped.
// The recorders are not owned and must outlive any call that reaches them (start, pause, resume,
// stop).
class DualStreamMixer
{
public:
    using SamplesCallback = std::function<void(std::span<const float> samples)>;

    DualStreamMixer(AudioRecorder *micRecorder, AudioRecorder *systemRecorder);
    ~DualStreamMixer();

    DualStreamMixer(const DualStreamMixer &) = delete;
    DualStreamMixer &operator=(const DualStreamMixer &) = delete;

    AudioChunker &micChunker();
    AudioChunker &systemChunker();

    bool isRunning() const { return m_isRunning; }
    bool isPaused() const { return m_isPaused; }
    // Whether the system recorder started; true until a start fails, so it means nothing before
    // the first start.
    bool systemAudioAvailable() const { return m_systemAudioAvailable; }

    // Raw samples for the live draft, called on the capture threads. Only the callbacks installed
    // by start() forward to them; after a pause and resume the draft gets no more audio.
    void setOnMicSamples(SamplesCallback callback);
    void setOnSystemSamples(SamplesCallback callback);

    // Fails only if the microphone does not start; without system audio it records the microphone
    // alone. Does nothing while running.
    std::optional<RecorderError> start();
    // Both recorders keep running while paused; their audio is dropped before the chunkers, and a
    // partial chunk waits to be joined to the first samples after the resume.
    void pause();
    void resume();
    // Stops the recorders and flushes the chunkers. Leaves onChunkReady in place: the session
    // clears it after a flush of its own.
    void stop();

private:
    // What a capture thread may reach: one stream's chunker and its raw-sample callback.
    struct Stream
    {
        AudioChunker chunker;
        std::atomic<std::shared_ptr<const SamplesCallback>> onSamples;
    };

    static AudioRecorder::ChunkCallback feeder(const std::shared_ptr<Stream> &stream, bool forwardSamples);

    AudioRecorder *const m_micRecorder;
    AudioRecorder *const m_systemRecorder;
    const std::shared_ptr<Stream> m_mic;
    const std::shared_ptr<Stream> m_system;
    bool m_isRunning = false;
    bool m_isPaused = false;
    bool m_systemAudioAvailable = true;
};
