#include "portal/PortalColorScheme.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>

namespace {
const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kNamespace = QStringLiteral("org.freedesktop.appearance");
const QString kKey = QStringLiteral("color-scheme");
} // namespace

PortalColorScheme::PortalColorScheme(QObject *parent)
    : SystemColorScheme(parent)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Read"));
    call << kNamespace << kKey;
    // Short: a missing portal must not hold the window back.
    const QDBusMessage reply = bus.call(call, QDBus::Block, 300);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
        m_portalDark = fromPortalValue(reply.arguments().constFirst());
    bus.connect(kService, kPath, kInterface, QStringLiteral("SettingChanged"), this,
                SLOT(onSettingChanged(QString, QString, QDBusVariant)));
}

bool PortalColorScheme::prefersDark() const
{
    if (m_portalDark)
        return *m_portalDark;
    const QColor window = QGuiApplication::palette().color(QPalette::Window);
    return window.lightness() < 128;
}

void PortalColorScheme::onSettingChanged(const QString &ns, const QString &key, const QDBusVariant &value)
{
    if (ns != kNamespace || key != kKey)
        return;
    const std::optional<bool> dark = fromPortalValue(value.variant());
    if (dark == m_portalDark)
        return;
    m_portalDark = dark;
    Q_EMIT changed();
}

std::optional<bool> PortalColorScheme::fromPortalValue(const QVariant &value)
{
    // Read() wraps the value in one variant more than SettingChanged does.
    QVariant v = value;
    for (int depth = 0; depth < 3; ++depth) {
        if (v.canConvert<QDBusVariant>() && v.metaType() == QMetaType::fromType<QDBusVariant>())
            v = qvariant_cast<QDBusVariant>(v).variant();
        else if (v.metaType() == QMetaType::fromType<QDBusArgument>())
            v = qvariant_cast<QDBusArgument>(v).asVariant();
        else
            break;
    }
    bool ok = false;
    const uint scheme = v.toUInt(&ok);
    if (!ok)
        return std::nullopt;
    // 0: no preference, 1: dark, 2: light.
    if (scheme == 0)
        return std::nullopt;
    return scheme == 1;
}
