#pragma once

#include "AudioLevel.h"
#include "AudioRecorder.h"
#include "pulse/PulseCapture.h"

// What the computer plays: the monitor of the sound server's default output, found by asking
// the server for the default sink's name (some servers ignore the "@DEFAULT_MONITOR@" alias),
// as 24000 Hz mono float. The app's own sounds are blanked out (see OwnSoundGate). It follows
// the default output while it records, and waits in silence while there is none.
class SystemAudioRecorder final : public AudioRecorder
{
public:
    SystemAudioRecorder();
    ~SystemAudioRecorder() override;

    std::optional<RecorderError> start() override;
    void stop() override;
    float level() const override { return m_level.value(); }
    // False once the server went away after a good start: the stream is silent.
    bool isAlive() const { return m_capture.isAlive(); }
    // Between a good start() and stop(); read on the thread that starts and stops it.
    bool isRunning() const { return m_isRunning; }

private:
    void deviceChanged(const PulseCapture::Choice &choice);

    PulseCapture m_capture;
    AudioLevel m_level;
    bool m_isRunning = false;
};
