#pragma once

#include "AudioRecorder.h"

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

// A capture source that plays a decoded file as fast as the transcriber takes it, in blocks of
// 100 ms, on a thread of its own; or, with no samples, one that starts and stays silent.
// `onFinished` runs on that thread once every sample has been handed on.
class BufferRecorder final : public AudioRecorder
{
public:
    explicit BufferRecorder(std::vector<float> samples = {}, std::function<void()> onFinished = {});
    ~BufferRecorder() override;

    std::optional<RecorderError> start() override;
    void stop() override;
    float level() const override { return 0.0f; }

private:
    std::vector<float> m_samples;
    std::function<void()> m_onFinished;
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
};
