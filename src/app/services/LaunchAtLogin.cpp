#include "LaunchAtLogin.h"

#include "Log.h"
#include "LoginItem.h"
#include "xdg/XdgAutostartLoginItem.h"

LaunchAtLogin::LaunchAtLogin(std::unique_ptr<LoginItem> item, QObject *parent)
    : QObject(parent)
    , m_item(item ? std::move(item) : std::make_unique<XdgAutostartLoginItem>())
{
}

LaunchAtLogin::~LaunchAtLogin() = default;

void LaunchAtLogin::set(bool enabled)
{
    if (const std::optional<QString> error = m_item->setRegistered(enabled))
        qCInfo(lcOndel).noquote() << QStringLiteral("Launch at login error: %1").arg(*error);
    else
        qCInfo(lcOndel).noquote() << (enabled ? QStringLiteral("Launch at login enabled") : QStringLiteral("Launch at login disabled"));
}

bool LaunchAtLogin::isEnabled() const
{
    return m_item->isRegistered();
}
