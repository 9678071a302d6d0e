#pragma once

// The short sounds of a recording.
class SoundCues
{
public:
    enum class Cue { Start, Resume, Stop };

    virtual ~SoundCues() = default;
    virtual void play(Cue cue) = 0;
};
