#pragma once

// The app's controls as a screen reader finds them, over AT-SPI: a test looks a control up by
// its role and name and learns where it stands on the screen, then clicks it as a user would.
// The accessibility bus runs on the test's own session bus; the app joins it when started with
// QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1.

#include "DesktopRig.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QRect>

#include <optional>

struct AtspiReference
{
    QString service;
    QDBusObjectPath path;
};
Q_DECLARE_METATYPE(AtspiReference)

inline QDBusArgument &operator<<(QDBusArgument &argument, const AtspiReference &reference)
{
    argument.beginStructure();
    argument << reference.service << reference.path;
    argument.endStructure();
    return argument;
}

inline const QDBusArgument &operator>>(const QDBusArgument &argument, AtspiReference &reference)
{
    argument.beginStructure();
    argument >> reference.service >> reference.path;
    argument.endStructure();
    return argument;
}

class ScreenReader
{
public:
    struct Control
    {
        QString role; // as AT-SPI names it: "push button", "text", "progress bar"...
        QString name;
        QRect extents; // on the screen
        bool focusable = false; // read only by controls(true)
        QPoint center() const { return extents.center(); }
    };

    ~ScreenReader() { stop(); }

    // Starts the accessibility bus on the session bus; empty on success, else why not.
    QString start()
    {
        qDBusRegisterMetaType<AtspiReference>();
        qDBusRegisterMetaType<QList<AtspiReference>>();
        m_launcher.setChildProcessModifier(dieWithTheTest);
        m_launcher.start("/usr/libexec/at-spi-bus-launcher", {"--launch-immediately"});
        if (!m_launcher.waitForStarted(10000))
            return "at-spi-bus-launcher did not start: " + m_launcher.errorString();
        const QDeadlineTimer deadline(30000);
        QDBusConnectionInterface *session = QDBusConnection::sessionBus().interface();
        while (!(session && session->isServiceRegistered("org.a11y.Bus")) && !deadline.hasExpired())
            QTest::qWait(100);
        const QDBusReply<QString> address = QDBusConnection::sessionBus().call(
            QDBusMessage::createMethodCall("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress"));
        if (!address.isValid())
            return "no accessibility bus: " + address.error().message();
        m_bus = QDBusConnection::connectToBus(address.value(), "screen-reader");
        return m_bus.isConnected() ? QString() : "the accessibility bus refused: " + m_bus.lastError().message();
    }

    void stop()
    {
        QDBusConnection::disconnectFromBus("screen-reader");
        stopProcess(m_launcher);
    }

    // Every control of every application on the bus that is on the screen, in the tree's order.
    QList<Control> controls(bool withStates = false) const
    {
        QList<Control> found;
        walk({"org.a11y.atspi.Registry", QDBusObjectPath("/org/a11y/atspi/accessible/root")}, found, 0, withStates);
        return found;
    }

    // What the keyboard can reach among `controls` (read with their states) that has no name
    // to be read out; empty when every such control has one.
    static QStringList unnamedFocusable(const QList<Control> &controls)
    {
        QStringList unnamed;
        for (const Control &control : controls)
            // A scroll bar is announced by its role and is no stop of the Tab key.
            if (control.focusable && control.name.trimmed().isEmpty() && control.role != QLatin1String("scroll bar"))
                unnamed << QStringLiteral("%1 at %2,%3 %4x%5").arg(control.role).arg(control.extents.x()).arg(control.extents.y())
                               .arg(control.extents.width()).arg(control.extents.height());
        return unnamed;
    }

    std::optional<Control> find(const QString &role, const QString &name) const
    {
        for (const Control &control : controls())
            if (control.role == role && control.name == name)
                return control;
        return std::nullopt;
    }

    // Waits for the control to be on the screen.
    std::optional<Control> waitFor(const QString &role, const QString &name, int timeoutMs = 30000) const
    {
        const QDeadlineTimer deadline(timeoutMs);
        std::optional<Control> control = find(role, name);
        while (!control && !deadline.hasExpired()) {
            QTest::qWait(250);
            control = find(role, name);
        }
        return control;
    }

    // What is on the screen, for a failure's message.
    QString describe() const
    {
        QStringList lines;
        for (const Control &control : controls())
            lines << QStringLiteral("%1 \"%2\"").arg(control.role, control.name);
        return lines.join(QLatin1Char('\n'));
    }

private:
    // The reply's first value, or nothing.
    QVariant ask(const AtspiReference &node, const QString &interface, const QString &method, const QVariantList &arguments = {}) const
    {
        QDBusMessage message = QDBusMessage::createMethodCall(node.service, node.path.path(), interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = m_bus.call(message, QDBus::Block, 5000);
        return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() ? reply.arguments().constFirst() : QVariant();
    }

    void walk(const AtspiReference &node, QList<Control> &found, int depth, bool withStates) const
    {
        const QString accessible = "org.a11y.atspi.Accessible";
        const QVariant children = depth > 40 ? QVariant() : ask(node, accessible, "GetChildren");
        if (!children.isValid())
            return;
        for (const AtspiReference &child : qdbus_cast<QList<AtspiReference>>(children)) {
            const QVariant name = ask(child, "org.freedesktop.DBus.Properties", "Get", {accessible, "Name"});
            int x = 0, y = 0, width = 0, height = 0;
            const QVariant extents = ask(child, "org.a11y.atspi.Component", "GetExtents",
                                         {QVariant::fromValue(uint(0))}); // screen coordinates
            if (extents.isValid()) {
                const QDBusArgument argument = extents.value<QDBusArgument>();
                argument.beginStructure();
                argument >> x >> y >> width >> height;
                argument.endStructure();
            }
            Control control{ask(child, accessible, "GetRoleName").toString(),
                            name.isValid() ? qdbus_cast<QDBusVariant>(name).variant().toString() : QString(), QRect(x, y, width, height)};
            if (withStates) {
                // The first word of the states holds "focusable" (11) and "showing" (25).
                const QVariant states = ask(child, accessible, "GetState");
                const quint32 bits = (states.canConvert<QDBusArgument>() ? qdbus_cast<QList<uint>>(states.value<QDBusArgument>())
                                                                         : states.value<QList<uint>>())
                                         .value(0);
                control.focusable = (bits & (1u << 11)) && (bits & (1u << 25));
            }
            if (!control.extents.isEmpty())
                found.append(control);
            walk(child, found, depth + 1, withStates);
        }
    }

    QProcess m_launcher;
    QDBusConnection m_bus{"screen-reader"};
};
