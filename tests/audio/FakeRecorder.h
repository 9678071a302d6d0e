#pragma once

#include "AudioRecorder.h"

#include <optional>
#include <span>

// A recorder without a device: start() can be made to fail, and play() delivers samples as the
// capture thread would.
class FakeRecorder : public AudioRecorder
{
public:
    std::optional<RecorderError> failure;
    int starts = 0;
    int stops = 0;

    std::optional<RecorderError> start() override
    {
        ++starts;
        return failure;
    }
    void stop() override { ++stops; }
    float level() const override { return 0.0f; }

    void play(std::span<const float> samples) const { deliver(samples); }
};
