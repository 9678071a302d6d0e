#pragma once

#include <QString>

#include <optional>
#include <vector>

// Reads a sound file (WAV, FLAC, Ogg, MP3 and the other formats libsndfile knows) and turns it
// into what the recorders deliver: mono float at 24000 Hz.
class AudioFileReader
{
public:
    struct Result
    {
        std::vector<float> samples; // 24000 Hz mono
        double sourceRate = 0;
        int sourceChannels = 0;
        QString error; // empty on success
    };

    static constexpr int targetRate = 24000;

    static Result read(const QString &path);
};
