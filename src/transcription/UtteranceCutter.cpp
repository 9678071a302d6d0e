#include "UtteranceCutter.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>

float UtteranceCutter::level(QByteArrayView pcm)
{
    const qsizetype samples = pcm.size() / bytesPerSample;
    if (samples == 0)
        return 0.0f;
    const char *data = pcm.data();
    double sum = 0;
    for (qsizetype i = 0; i < samples; ++i) {
        const double s = qFromLittleEndian<qint16>(data + i * bytesPerSample) / 32768.0;
        sum += s * s;
    }
    return float(std::sqrt(sum / double(samples)));
}

std::optional<UtteranceCutter::Utterance> UtteranceCutter::push(const QByteArray &pcm, float level, double wallOffset)
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
