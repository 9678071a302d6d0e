#include "SoundFeedback.h"

#include "WavFile.h"

#include "Clock.h"
#include "SoundPlayer.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

struct Chord
{
    QList<SoundFeedback::Tone> tones;
    double duration;
    float volume;
    bool fadeIn;
    double pitchBend;
};

// A rising major triad to start or resume; a falling pair of chords to stop.
const Chord kStart{{{523.25, 0.5}, {659.25, 0.35}, {783.99, 0.25}}, 0.12, 0.14f, true, 1.02};
const Chord kStopFirst{{{783.99, 0.4}, {523.25, 0.35}, {392.0, 0.2}}, 0.1, 0.11f, false, 0.98};
const Chord kStopSecond{{{523.25, 0.45}, {659.25, 0.3}, {261.63, 0.15}}, 0.14, 0.1f, false, 1.0};
constexpr std::chrono::milliseconds kStopGap{100};

} // namespace

SoundFeedback::SoundFeedback(SoundPlayer &player, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_player(player)
    , m_clock(clock)
{
}

void SoundFeedback::play(Cue cue)
{
    switch (cue) {
    case Cue::Start:
    case Cue::Resume:
        playChord(kStart.tones, kStart.duration, kStart.volume, kStart.fadeIn, kStart.pitchBend);
        break;
    case Cue::Stop:
        playStopTone();
        break;
    }
}

void SoundFeedback::playChord(const QList<Tone> &tones, double duration, float volume, bool fadeIn, double pitchBend)
{
    m_player.play(synthesize(tones, duration, fadeIn, pitchBend), volume); // a failure stays silent: a courtesy sound
}

void SoundFeedback::playStopTone()
{
    playChord(kStopFirst.tones, kStopFirst.duration, kStopFirst.volume, kStopFirst.fadeIn, kStopFirst.pitchBend);
    m_clock.schedule(kStopGap, this, [this] {
        playChord(kStopSecond.tones, kStopSecond.duration, kStopSecond.volume, kStopSecond.fadeIn, kStopSecond.pitchBend);
    });
}

QByteArray SoundFeedback::synthesize(const QList<Tone> &tones, double duration, bool fadeIn, double pitchBend)
{
    const int samples = std::max(0, int(duration * sampleRate));
    QByteArray pcm;
    pcm.reserve(2 * samples);
    constexpr double pi = std::numbers::pi;
    for (int i = 0; i < samples; ++i) {
        const double p = double(i) / samples;
        const double t = double(i) / sampleRate;
        double envelope = 1.0;
        if (fadeIn && p < 0.25)
            envelope = (1.0 - std::cos(4.0 * pi * p)) / 2.0;
        else if (p > 0.5)
            envelope = (std::cos(2.0 * pi * (p - 0.5)) + 1.0) / 2.0;
        const double factor = 1.0 + (pitchBend - 1.0) * p;
        double sum = 0.0;
        for (const Tone &tone : tones) {
            const double w = 2.0 * pi * tone.frequency * factor;
            sum += tone.amplitude * (std::sin(w * t) + 0.08 * std::sin(2.0 * w * t) + 0.03 * std::sin(3.0 * w * t));
        }
        // Clamped before the cut, which gives the same whole number and never overflows.
        const double value = std::clamp(sum * envelope * 32767.0, -32768.0, 32767.0);
        char bytes[2];
        qToLittleEndian(qint16(value), bytes);
        pcm.append(bytes, 2);
    }
    return WavFile::mono16(pcm, sampleRate);
}
