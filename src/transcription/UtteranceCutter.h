#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

// Cuts one stream of 100 ms chunks of 16-bit PCM into utterances by their level, and keeps the
// stream's audio clock so that each utterance knows where it began. Plain state: its owner
// locks it.
class UtteranceCutter
{
public:
    static constexpr int sampleRate = 24000;
    static constexpr int bytesPerSample = 2;
    // A chunk at or above this level is speech.
    static constexpr float silenceRMSThreshold = 0.012f;
    // 0.7 s of silence ends an utterance; 15 s ends it regardless.
    static constexpr int trailingSilenceChunks = 7;
    static constexpr int maxUtteranceChunks = 150;
    // Anything with less than 0.4 s of speech is a click or a cough, not worth an upload.
    static constexpr int minSpeechChunks = 4;

    struct Utterance
    {
        QByteArray pcm;
        // Seconds from the session's start.
        double startOffset = 0;
    };

    // Root mean square of little-endian signed 16-bit samples scaled to [-1, 1]; an odd last
    // byte is ignored.
    static float level(QByteArrayView pcm);

    // Takes one chunk. `wallOffset` (seconds of wall clock since the session's start) is used
    // once, at the stream's first chunk: after that only the samples count, so a pause does
    // not show in the offsets. Returns the utterance this chunk closes, if it is worth sending.
    std::optional<Utterance> push(QByteArrayView pcm, float level, double wallOffset);
    // Whether the stream's first chunk has come, after which `wallOffset` is not read.
    bool hasStreamStart() const { return m_streamStartOffset.has_value(); }
    // Closes what is open: sent if it holds enough speech, dropped otherwise.
    std::optional<Utterance> commit();

    // While stopped the clock still runs but no audio is kept.
    void stop();
    void resume() { m_stopped = false; }
    bool isStopped() const { return m_stopped; }
    double audioClock() const { return m_audioClock; }

private:
    std::optional<Utterance> close();
    void reset();

    QByteArray m_utterance;
    int m_chunks = 0;
    int m_speechChunks = 0;
    int m_consecutiveSilence = 0;
    double m_audioClock = 0;
    std::optional<double> m_streamStartOffset;
    std::optional<double> m_openUtteranceStart;
    bool m_stopped = false;
};
