#include "OwnSoundGate.h"

#include <algorithm>

OwnSoundGate &OwnSoundGate::shared()
{
    static OwnSoundGate gate;
    return gate;
}

OwnSoundGate::OwnSoundGate()
{
    m_clock.start();
}

void OwnSoundGate::markPlaying(int durationMs)
{
    const qint64 until = nowMs() + durationMs + tailMs;
    qint64 current = m_audibleUntilMs.load();
    while (current < until && !m_audibleUntilMs.compare_exchange_weak(current, until)) {
    }
}

bool OwnSoundGate::isAudibleNow() const
{
    // Until a sound has played, the clock need not be read for every block.
    const qint64 until = m_audibleUntilMs.load();
    return until >= 0 && nowMs() <= until;
}

void OwnSoundGate::apply(std::span<float> samples) const
{
    if (isAudibleNow())
        std::fill(samples.begin(), samples.end(), 0.0f);
}
