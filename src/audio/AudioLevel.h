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
        // Four running sums, which the compiler keeps in vector registers: it runs for every
        // block of both streams.
        double sums[4] = {};
        std::size_t i = 0;
        for (; i + 4 <= samples.size(); i += 4)
            for (std::size_t k = 0; k < 4; ++k)
                sums[k] += double(samples[i + k]) * double(samples[i + k]);
        for (; i < samples.size(); ++i)
            sums[0] += double(samples[i]) * double(samples[i]);
        const double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
        const double rms = std::sqrt(sum / double(std::max<std::size_t>(samples.size(), 1)));
        return float(std::min(rms * 10.0, 1.0));
    }

    void update(std::span<const float> samples) { m_value.store(of(samples), std::memory_order_relaxed); }
    void reset() { m_value.store(0.0f, std::memory_order_relaxed); }
    float value() const { return m_value.load(std::memory_order_relaxed); }

private:
    std::atomic<float> m_value{0.0f};
};
