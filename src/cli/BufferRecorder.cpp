#include "BufferRecorder.h"

BufferRecorder::BufferRecorder(std::vector<float> samples, std::function<void()> onFinished)
    : m_samples(std::move(samples))
    , m_onFinished(std::move(onFinished))
{
}

BufferRecorder::~BufferRecorder()
{
    stop();
}

std::optional<RecorderError> BufferRecorder::start()
{
    if (m_thread.joinable() || m_samples.empty())
        return std::nullopt;
    m_stop = false;
    m_thread = std::thread([this] {
        constexpr std::size_t block = 2400;
        for (std::size_t offset = 0; offset < m_samples.size() && !m_stop; offset += block)
            deliver(std::span<const float>(m_samples).subspan(offset, std::min(block, m_samples.size() - offset)));
        if (!m_stop && m_onFinished)
            m_onFinished();
    });
    return std::nullopt;
}

void BufferRecorder::stop()
{
    m_stop = true;
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id())
        m_thread.join();
}
