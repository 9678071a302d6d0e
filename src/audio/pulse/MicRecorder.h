#pragma once

#include "AudioLevel.h"
#include "AudioRecorder.h"
#include "pulse/PulseCapture.h"

// The microphone: the sound server's default input, as 24000 Hz mono float. It follows the
// default while it records, never onto a monitor: with no real input it is silent and says why
// (silence()).
class MicRecorder final : public AudioRecorder
{
public:
    MicRecorder();
    ~MicRecorder() override;

    // Fails with "Invalid audio format" when there is no input (no server, no device, or a
    // default input that is only a monitor).
    std::optional<RecorderError> start() override;
    void stop() override;
    float level() const override { return m_level.value(); }

private:
    void deviceChanged(const PulseCapture::Choice &choice);

    PulseCapture m_capture;
    AudioLevel m_level;
};
