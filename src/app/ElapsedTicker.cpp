#include "ElapsedTicker.h"

#include "AppShell.h"
#include "MeetingText.h"

using namespace std::chrono_literals;

ElapsedTicker::ElapsedTicker(QObject *parent)
    : ElapsedTicker(AppShell::current() ? AppShell::current()->clock() : Clock::system(), parent)
{
}

ElapsedTicker::ElapsedTicker(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
}

void ElapsedTicker::setPaused(bool paused)
{
    if (paused == m_paused)
        return;
    m_paused = paused;
    Q_EMIT pausedChanged();
}

ElapsedTicker::~ElapsedTicker()
{
    if (m_timer)
        m_clock.cancel(m_timer);
}

void ElapsedTicker::setStyle(Style style)
{
    if (style == m_style)
        return;
    m_style = style;
    Q_EMIT styleChanged();
    Q_EMIT secondsChanged();
}

QString ElapsedTicker::text() const
{
    return m_style == Style::Strip ? MeetingText::stripElapsed(m_seconds) : MeetingText::menuElapsed(m_seconds);
}

void ElapsedTicker::start()
{
    const bool wasRunning = running();
    if (m_timer)
        m_clock.cancel(m_timer);
    m_timer = 0;
    m_seconds = 0;
    Q_EMIT secondsChanged();
    scheduleTick();
    if (!wasRunning)
        Q_EMIT runningChanged();
}

void ElapsedTicker::stop()
{
    if (!m_timer)
        return;
    m_clock.cancel(m_timer);
    m_timer = 0;
    Q_EMIT runningChanged();
}

void ElapsedTicker::scheduleTick()
{
    m_timer = m_clock.schedule(1s, this, [this] {
        if (m_style == Style::Menu || !m_paused) {
            m_seconds += 1;
            Q_EMIT secondsChanged();
        }
        scheduleTick();
    });
}
