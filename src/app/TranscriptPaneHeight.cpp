#include "TranscriptPaneHeight.h"

#include "AppShell.h"
#include "Settings.h"

#include <algorithm>

TranscriptPaneHeight::TranscriptPaneHeight(QObject *parent)
    : TranscriptPaneHeight(AppShell::current() ? *AppShell::current()->settings() : Settings::shared(), parent)
{
}

TranscriptPaneHeight::TranscriptPaneHeight(Settings &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
{
    connect(&settings, &Settings::transcriptPaneHeightChanged, this, &TranscriptPaneHeight::heightChanged);
}

double TranscriptPaneHeight::height() const
{
    return m_settings.transcriptPaneHeight();
}

QString TranscriptPaneHeight::toggleHelp() const
{
    return collapsed() ? QStringLiteral("Show the transcript") : QStringLiteral("Collapse the transcript");
}

void TranscriptPaneHeight::drag(double translation)
{
    if (!m_dragStartHeight)
        m_dragStartHeight = height();
    m_settings.setTranscriptPaneHeight(std::clamp(*m_dragStartHeight - translation, minimum, maximum));
}

void TranscriptPaneHeight::endDrag()
{
    m_dragStartHeight.reset();
}

void TranscriptPaneHeight::toggle()
{
    m_settings.setTranscriptPaneHeight(collapsed() ? 240 : minimum);
}
