#include "UtteranceCutter.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstdint>

float UtteranceCutter::level(QByteArrayView pcm)
{
    const qsizetype samples = pcm.size() / bytesPerSample;
    if (samples == 0)
        return 0.0f;
    // The squares summed as integers, which the compiler does several at a time. The result is
    // the same as summing the scaled squares in double: each is a multiple of 2^-30 below 1, so
    // every partial sum of a chunk is exact either way.
    const char *data = pcm.data();
    std::int64_t sum = 0;
    for (qsizetype i = 0; i < samples; ++i) {
        const std::int32_t s = qFromLittleEndian<qint16>(data + i * bytesPerSample);
        sum += s * s;
    }
    return float(std::sqrt(double(sum) / 1073741824.0 / double(samples)));
}

std::optional<UtteranceCutter::Utterance> UtteranceCutter::push(QByteArrayView pcm, float level, double wallOffset)
{
    if (!m_streamStartOffset)
        m_streamStartOffset = std::max(0.0, wallOffset);

    const double clockBefore = m_audioClock;
    m_audioClock += double(pcm.size() / bytesPerSample) / double(sampleRate);
    if (m_stopped)
        return std::nullopt;

    const bool speech = level >= silenceRMSThreshold;
    if (m_chunks == 0) {
        if (!speech)
            return std::nullopt; // silence between utterances is thrown away
        m_openUtteranceStart = *m_streamStartOffset + clockBefore;
        // Room for the longest utterance at once, rather than a copy at every doubling.
        m_utterance.reserve(maxUtteranceChunks * pcm.size());
    }

    m_utterance.append(pcm);
    ++m_chunks;
    const bool atLimit = m_chunks >= maxUtteranceChunks;
    if (speech) {
        ++m_speechChunks;
        m_consecutiveSilence = 0;
        if (!atLimit)
            return std::nullopt;
    } else {
        ++m_consecutiveSilence;
        if (m_consecutiveSilence < trailingSilenceChunks && !atLimit)
            return std::nullopt;
    }
    return close();
}

std::optional<UtteranceCutter::Utterance> UtteranceCutter::commit()
{
    return close();
}

void UtteranceCutter::stop()
{
    m_stopped = true;
    reset();
}

std::optional<UtteranceCutter::Utterance> UtteranceCutter::close()
{
    std::optional<Utterance> closed;
    if (m_speechChunks >= minSpeechChunks && m_openUtteranceStart)
        closed = Utterance{std::move(m_utterance), *m_openUtteranceStart};
    reset();
    return closed;
}

void UtteranceCutter::reset()
{
    m_utterance = QByteArray();
    m_chunks = 0;
    m_speechChunks = 0;
    m_consecutiveSilence = 0;
    m_openUtteranceStart.reset();
}
