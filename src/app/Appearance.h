#pragma once

#include <QObject>
#include <QPointer>

class Settings;
class SystemColorScheme;

// Light or dark for the main window: the user's `appTheme` ("light", "dark", anything else
// follows the desktop), read again whenever it or the desktop's scheme changes.
class Appearance : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool dark READ dark NOTIFY darkChanged)

public:
    Appearance(Settings &settings, SystemColorScheme *system, QObject *parent = nullptr);

    bool dark() const { return m_dark; }

    // The scheme a theme word asks for: true dark, false light, nullopt the desktop's.
    static std::optional<bool> preferredScheme(const QString &appTheme);

Q_SIGNALS:
    void darkChanged();

private:
    void update();

    Settings &m_settings;
    QPointer<SystemColorScheme> m_system;
    bool m_dark = false;
};
