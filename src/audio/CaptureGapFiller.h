#pragma once

#include <cstddef>
#include <cstdint>

// Keeps a stream's clock true while its device changes or is missing. Every line's offset in a
// recording is counted in the samples of its stream, so the time between the old device's last
// block and the new device's first one is handed on as silence: without it, each switch would
// pull all later lines of that stream earlier than the other stream's. Times are a monotonic
// clock's nanoseconds; used on the capture thread only.
class CaptureGapFiller
{
public:
    // `lagSamples`: how far the silence handed on while waiting stays behind the clock, at least
    // a device's first block, so that this block finds its place without overlap.
    CaptureGapFiller(int rate, int lagSamples)
        : m_rate(rate)
        , m_lag(lagSamples)
    {
    }

    bool isOpen() const { return m_open; }

    // No device delivers from now on (until the next real block).
    void open(std::int64_t nowNs)
    {
        if (m_open)
            return;
        m_open = true;
        m_anchorNs = m_lastBlockNs != 0 ? m_lastBlockNs : nowNs;
        m_filled = 0;
    }

    // A real block of `samples` arrives now: the silence to hand on before it, which closes the gap.
    std::size_t blockArriving(std::size_t samples, std::int64_t nowNs)
    {
        std::int64_t due = 0;
        if (m_open) {
            due = samplesSince(nowNs) - std::int64_t(samples) - m_filled;
            m_open = false;
        }
        m_lastBlockNs = nowNs;
        return due > 0 ? std::size_t(due) : 0;
    }

    // While the gap is open: the silence due now.
    std::size_t silenceNow(std::int64_t nowNs)
    {
        if (!m_open)
            return 0;
        const std::int64_t due = samplesSince(nowNs) - m_lag - m_filled;
        if (due <= 0)
            return 0;
        m_filled += due;
        return std::size_t(due);
    }

private:
    std::int64_t samplesSince(std::int64_t nowNs) const { return (nowNs - m_anchorNs) * m_rate / 1'000'000'000; }

    std::int64_t m_rate;
    std::int64_t m_lag;
    bool m_open = false;
    std::int64_t m_anchorNs = 0;
    std::int64_t m_lastBlockNs = 0;
    std::int64_t m_filled = 0;
};
