#include "Appearance.h"

#include "Settings.h"
#include "SystemColorScheme.h"

Appearance::Appearance(Settings &settings, SystemColorScheme *system, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_system(system)
{
    connect(&settings, &Settings::appThemeChanged, this, &Appearance::update);
    if (system)
        connect(system, &SystemColorScheme::changed, this, &Appearance::update);
    update();
}

std::optional<bool> Appearance::preferredScheme(const QString &appTheme)
{
    if (appTheme == QLatin1String("light"))
        return false;
    if (appTheme == QLatin1String("dark"))
        return true;
    return std::nullopt;
}

void Appearance::update()
{
    const bool dark = preferredScheme(m_settings.appTheme()).value_or(m_system && m_system->prefersDark());
    if (dark == m_dark)
        return;
    m_dark = dark;
    Q_EMIT darkChanged();
}
