#pragma once

#include "SystemColorScheme.h"

#include <QDBusVariant>

#include <optional>

// The desktop's colour scheme from the XDG desktop portal ("org.freedesktop.appearance",
// "color-scheme": 1 asks for dark), which GNOME, KDE and others serve. Without a portal, the
// lightness of the platform's window colour decides.
class PortalColorScheme : public SystemColorScheme
{
    Q_OBJECT

public:
    explicit PortalColorScheme(QObject *parent = nullptr);

    bool prefersDark() const override;

private Q_SLOTS:
    void onSettingChanged(const QString &ns, const QString &key, const QDBusVariant &value);

private:
    static std::optional<bool> fromPortalValue(const QVariant &value);

    std::optional<bool> m_portalDark;
};
