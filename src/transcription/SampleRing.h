#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

// A fixed ring of samples between one writer thread and one reader thread, without locks, so
// that the writer (a capture thread) never waits: a block that does not fit is dropped whole
// and counted, and the reader is woken through the atomic's own wait.
class SampleRing
{
public:
    explicit SampleRing(std::size_t capacity)
        : m_samples(std::max<std::size_t>(capacity, 1))
    {
    }

    // Writer. False when the block did not fit and was dropped.
    bool push(std::span<const float> block)
    {
        const std::uint64_t write = m_write.load(std::memory_order_relaxed);
        const std::uint64_t read = m_read.load(std::memory_order_acquire);
        const std::size_t capacity = m_samples.size();
        if (block.size() > capacity - std::size_t(write - read)) {
            m_dropped.fetch_add(block.size(), std::memory_order_relaxed);
            return false;
        }
        const std::size_t at = std::size_t(write % capacity);
        const std::size_t first = std::min(block.size(), capacity - at);
        std::copy_n(block.begin(), first, m_samples.begin() + std::ptrdiff_t(at));
        std::copy(block.begin() + std::ptrdiff_t(first), block.end(), m_samples.begin());
        m_write.store(write + block.size(), std::memory_order_release);
        wake();
        return true;
    }

    // Reader: moves up to `out.size()` samples out, returns how many.
    std::size_t pop(std::span<float> out)
    {
        const std::uint64_t read = m_read.load(std::memory_order_relaxed);
        const std::uint64_t write = m_write.load(std::memory_order_acquire);
        const std::size_t count = std::min(out.size(), std::size_t(write - read));
        const std::size_t capacity = m_samples.size();
        const std::size_t at = std::size_t(read % capacity);
        const std::size_t first = std::min(count, capacity - at);
        std::copy_n(m_samples.begin() + std::ptrdiff_t(at), first, out.begin());
        std::copy_n(m_samples.begin(), count - first, out.begin() + std::ptrdiff_t(first));
        m_read.store(read + count, std::memory_order_release);
        return count;
    }

    // Reader: blocks until something was pushed or wake() was called since `seen`, which the
    // reader took from signal() before it last looked.
    std::uint32_t signal() const { return m_signal.load(std::memory_order_acquire); }
    void waitPast(std::uint32_t seen) const { m_signal.wait(seen, std::memory_order_acquire); }
    // Any thread: ends the reader's wait (data, or a request it should look at).
    void wake()
    {
        m_signal.fetch_add(1, std::memory_order_release);
        m_signal.notify_one();
    }

    std::uint64_t droppedSamples() const { return m_dropped.load(std::memory_order_relaxed); }

private:
    std::vector<float> m_samples;
    std::atomic<std::uint64_t> m_write = 0;
    std::atomic<std::uint64_t> m_read = 0;
    std::atomic<std::uint64_t> m_dropped = 0;
    std::atomic<std::uint32_t> m_signal = 0;
};
