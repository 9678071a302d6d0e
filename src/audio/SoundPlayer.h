#pragma once

#include <QByteArray>

// Plays a short sound made in memory, such as the recording cues. The platform's player
// implements it; callers never learn whether a sound was heard beyond the return value.
class SoundPlayer
{
public:
    virtual ~SoundPlayer() = default;

    // `wav`: a PCM WAV file of signed 16-bit samples, at any rate and channel count. `volume`:
    // 0 to 1. Returns at once; false when the sound cannot be played.
    virtual bool play(const QByteArray &wav, float volume) = 0;
};
