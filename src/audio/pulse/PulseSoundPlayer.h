#pragma once

#include <QString>

#include <vector>

#include "pulse/PulseConnection.h"

// Plays short sounds made in memory (the recording cues) on the default output, with little
// latency, and marks each one on the OwnSoundGate for exactly as long as it can be heard, so
// that the system recorder never hands our own sounds on as the other side's speech.
class PulseSoundPlayer
{
public:
    PulseSoundPlayer();
    ~PulseSoundPlayer();

    PulseSoundPlayer(const PulseSoundPlayer &) = delete;
    PulseSoundPlayer &operator=(const PulseSoundPlayer &) = delete;

    static constexpr int rate = 24000;

    // Mono float at 24000 Hz. Returns at once; false when no sound server can be reached.
    bool play(const std::vector<float> &samples);

private:
    bool connect();

    PulseConnection m_connection;
};
