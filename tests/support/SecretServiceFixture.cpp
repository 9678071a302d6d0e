#include "SecretServiceFixture.h"
#include "SessionBus.h"
#include "TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QTest>

#include <csignal>

namespace {

const QString kConnection = QStringLiteral("ondel-secret-service-fixture");
const QString kSecrets = QStringLiteral("org.freedesktop.secrets");

} // namespace

SecretServiceFixture::SecretServiceFixture()
{
    if (!m_dir.isValid())
        m_error = QStringLiteral("no temporary folder");
    else if (startBus() && startKeyring())
        waitForUnlockedCollection();
}

SecretServiceFixture::~SecretServiceFixture()
{
    QDBusConnection::disconnectFromBus(kConnection);
    endProcess(m_keyring);
}

bool SecretServiceFixture::startBus()
{
    // No service folders: nothing else starts on this bus.
    m_bus = std::make_unique<SessionBus>(m_dir.path(), SessionBus::Options{});
    m_error = m_bus->error();
    m_address = m_bus->address();
    return m_error.isEmpty();
}

bool SecretServiceFixture::startKeyring()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.path());
    env.remove(QStringLiteral("DISPLAY"));
    m_keyring.setProcessEnvironment(env);
    m_keyring.setChildProcessModifier(SessionBus::dieWithTheTest);
    m_keyring.start(QStringLiteral("gnome-keyring-daemon"),
                    {QStringLiteral("--foreground"), QStringLiteral("--unlock"), QStringLiteral("--components=secrets")});
    if (!m_keyring.waitForStarted(5000)) {
        m_error = QStringLiteral("gnome-keyring-daemon did not start: ") + m_keyring.errorString();
        return false;
    }
    // --unlock reads the login keyring's password up to the end of its input.
    m_keyring.write("throwaway-test-password");
    m_keyring.closeWriteChannel();
    return true;
}

bool SecretServiceFixture::waitForUnlockedCollection()
{
    QDBusConnection bus = QDBusConnection::connectToBus(m_address, kConnection);
    QDeadlineTimer deadline(20000);
    while (!deadline.hasExpired()) {
        if (m_keyring.state() == QProcess::NotRunning) {
            m_error = QStringLiteral("gnome-keyring-daemon ended: ") + QString::fromUtf8(m_keyring.readAllStandardError());
            return false;
        }
        if (bus.isConnected() && bus.interface()->isServiceRegistered(kSecrets)) {
            QDBusMessage call = QDBusMessage::createMethodCall(kSecrets, QStringLiteral("/org/freedesktop/secrets"),
                                                               QStringLiteral("org.freedesktop.Secret.Service"),
                                                               QStringLiteral("ReadAlias"));
            call << QStringLiteral("default");
            const QDBusMessage reply = bus.call(call, QDBus::Block, 2000);
            const QVariant path = reply.arguments().value(0);
            if (reply.type() == QDBusMessage::ReplyMessage && path.value<QDBusObjectPath>().path() != QLatin1String("/"))
                return true;
        }
        QTest::qWait(50);
    }
    m_error = QStringLiteral("the keyring's default collection did not appear");
    return false;
}

void SecretServiceFixture::stopKeyring()
{
    endProcess(m_keyring);
}

void SecretServiceFixture::holdKeyring(bool held)
{
    if (m_keyring.processId() > 0)
        ::kill(pid_t(m_keyring.processId()), held ? SIGSTOP : SIGCONT);
}

void SecretServiceFixture::useUnreachableBus(const QString &folder)
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", QStringLiteral("unix:path=%1/no-bus-here").arg(folder).toUtf8());
}
