#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <span>

// The meter's reading of a block: its RMS times 10, at most 1. Written on the capture thread,
// read by the UI's timer on the main thread.
class AudioLevel
{
public:
    static float of(std::span<const float> samples)
    {
        double sum = 0;
        for (const float s : samples)
            sum += double(s) * double(s);
        const double rms = std::sqrt(sum / double(std::max<std::size_t>(samples.size(), 1)));
        return float(std::min(rms * 10.0, 1.0));
    }

    void update(std::span<const float> samples) { m_value.store(of(samples), std::memory_order_relaxed); }
    void reset() { m_value.store(0.0f, std::memory_order_relaxed); }
    float value() const { return m_value.load(std::memory_order_relaxed); }

private:
    std::atomic<float> m_value{0.0f};
};
