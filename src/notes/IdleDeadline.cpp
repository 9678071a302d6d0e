#include "IdleDeadline.h"

IdleDeadline::IdleDeadline(Clock &clock, std::chrono::milliseconds limit, QObject *context, std::function<void()> expired)
    : m_clock(clock)
    , m_limit(limit)
    , m_context(context)
    , m_expired(std::move(expired))
{
}

IdleDeadline::~IdleDeadline()
{
    stop();
}

void IdleDeadline::start()
{
    stop();
    m_lastActivity = m_clock.now();
    arm(m_limit);
}

void IdleDeadline::touch()
{
    if (m_timer)
        m_lastActivity = m_clock.now();
}

void IdleDeadline::stop()
{
    if (m_timer)
        m_clock.cancel(std::exchange(m_timer, 0));
}

void IdleDeadline::arm(std::chrono::milliseconds delay)
{
    m_timer = m_clock.schedule(delay, m_context, [this] { check(); });
}

void IdleDeadline::check()
{
    m_timer = 0;
    const std::chrono::milliseconds idle(m_lastActivity.msecsTo(m_clock.now()));
    if (idle < m_limit) {
        arm(m_limit - idle);
        return;
    }
    m_expired();
}
