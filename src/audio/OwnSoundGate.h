#pragma once

#include <QElapsedTimer>

#include <atomic>
#include <span>

// Keeps the app's own sounds out of the system stream. The sound server mixes everything that
// plays into the monitor we record, and offers no way to leave one client out of a monitor; but
// we know exactly when we play something, because we play it. So the player marks the span in
// which its sound can be heard, and the system recorder blanks what it captures in that span.
// Blanking (not dropping) keeps the stream's clock true: the lines after it keep their offsets.
class OwnSoundGate
{
public:
    static OwnSoundGate &shared();

    // Called by the player when a sound of `durationMs` starts now.
    void markPlaying(int durationMs);
    // Called by the system recorder for each block just captured; zeroes it while a sound of ours
    // is audible, plus the sound server's latency.
    void apply(std::span<float> samples) const;
    bool isAudibleNow() const;

    // How long after the end of a sound the monitor may still carry it.
    static constexpr int tailMs = 250;

private:
    OwnSoundGate();
    qint64 nowMs() const { return m_clock.elapsed(); }

    QElapsedTimer m_clock;
    std::atomic<qint64> m_audibleUntilMs{-1};
};
