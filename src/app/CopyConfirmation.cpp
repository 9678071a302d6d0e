#include "CopyConfirmation.h"

#include "AppShell.h"

CopyConfirmation::CopyConfirmation(QObject *parent)
    : CopyConfirmation(AppShell::current() ? AppShell::current()->clock() : Clock::system(), parent)
{
}

CopyConfirmation::CopyConfirmation(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
}

CopyConfirmation::~CopyConfirmation()
{
    if (m_timer)
        m_clock.cancel(m_timer);
}

void CopyConfirmation::confirm()
{
    if (m_timer)
        return;
    m_timer = m_clock.schedule(shownFor, this, [this] {
        m_timer = 0;
        Q_EMIT copiedChanged();
    });
    Q_EMIT copiedChanged();
}
