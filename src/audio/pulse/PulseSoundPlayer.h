#pragma once

#include <QString>

#include <vector>

#include "SoundPlayer.h"
#include "pulse/PulseConnection.h"

// Plays short sounds made in memory (the recording cues) on the default output, with little
// latency, and marks each one on the OwnSoundGate for exactly as long as it can be heard, so
// that the system recorder never hands our own sounds on as the other side's speech.
class PulseSoundPlayer final : public SoundPlayer
{
public:
    PulseSoundPlayer();
    ~PulseSoundPlayer() override;

    PulseSoundPlayer(const PulseSoundPlayer &) = delete;
    PulseSoundPlayer &operator=(const PulseSoundPlayer &) = delete;

    static constexpr int rate = 24000;

    // Mono float at 24000 Hz. Returns at once; false when no sound server can be reached.
    bool play(const std::vector<float> &samples);
    // A 16-bit PCM WAV at its own rate, which the server converts to the output's. The volume
    // scales the samples, so that it never changes a volume the user set on the server.
    bool play(const QByteArray &wav, float volume) override;

private:
    bool connect();
    bool start(std::vector<float> samples, int sampleRate, int channels);

    PulseConnection m_connection;
};
