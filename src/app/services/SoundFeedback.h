#pragma once

#include "SoundCues.h"

#include <QByteArray>
#include <QList>
#include <QObject>

class Clock;
class SoundPlayer;

// The short start and stop sounds of a recording. They are synthesised in memory (the app
// carries no sound files) and handed to the platform's player. The session decides whether
// they sound at all (the soundEnabled setting); a sound that cannot be played is simply not heard.
class SoundFeedback : public QObject, public SoundCues
{
    Q_OBJECT

public:
    struct Tone
    {
        double frequency; // hertz
        double amplitude;
    };

    static constexpr int sampleRate = 44100;

    SoundFeedback(SoundPlayer &player, Clock &clock, QObject *parent = nullptr);

    void play(Cue cue) override;

    // `pitchBend` is the frequency factor reached at the end of the sound.
    void playChord(const QList<Tone> &tones, double duration, float volume, bool fadeIn, double pitchBend);
    // Two sounds, the second 0.1 s after the first.
    void playStopTone();

    // The chord as a 44.1 kHz, 16-bit mono WAV file.
    static QByteArray synthesize(const QList<Tone> &tones, double duration, bool fadeIn, double pitchBend);

private:
    SoundPlayer &m_player;
    Clock &m_clock;
};
