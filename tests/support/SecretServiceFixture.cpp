#include "SecretServiceFixture.h"
#include "TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QFile>
#include <QTest>

#include <csignal>
#include <sys/prctl.h>

namespace {

const QString kConnection = QStringLiteral("ondel-secret-service-fixture");
const QString kSecrets = QStringLiteral("org.freedesktop.secrets");

QString busConfig(const QString &folder)
{
    return QStringLiteral(
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig>\n"
        "  <type>session</type>\n"
        "  <listen>unix:dir=%1</listen>\n"
        "  <auth>EXTERNAL</auth>\n"
        "  <policy context=\"default\">\n"
        "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
        "    <allow eavesdrop=\"true\"/>\n"
        "    <allow own=\"*\"/>\n"
        "  </policy>\n"
        "</busconfig>\n")
        .arg(folder);
}

// A daemon of ours never outlives the test, even one that crashed.
void dieWithTheTest()
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

} // namespace

SecretServiceFixture::SecretServiceFixture()
    : m_bus(new QProcess)
    , m_oldAddress(qgetenv("DBUS_SESSION_BUS_ADDRESS"))
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
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_oldAddress);
}

bool SecretServiceFixture::startBus()
{
    const QString config = m_dir.filePath(QStringLiteral("bus.conf"));
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly) || file.write(busConfig(m_dir.path()).toUtf8()) < 0) {
        m_error = QStringLiteral("cannot write the bus configuration");
        return false;
    }
    file.close();

    m_bus->setChildProcessModifier(dieWithTheTest);
    m_bus->start(QStringLiteral("dbus-daemon"), {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                                                 QStringLiteral("--print-address=1")});
    if (!m_bus->waitForStarted(5000)) {
        m_error = QStringLiteral("dbus-daemon did not start: ") + m_bus->errorString();
        return false;
    }
    QDeadlineTimer deadline(10000);
    while (!m_bus->canReadLine() && !deadline.hasExpired())
        m_bus->waitForReadyRead(100);
    m_address = QString::fromUtf8(m_bus->readLine()).trimmed();
    if (m_address.isEmpty()) {
        m_error = QStringLiteral("dbus-daemon gave no address");
        return false;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
    return true;
}

bool SecretServiceFixture::startKeyring()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.path());
    env.remove(QStringLiteral("DISPLAY"));
    m_keyring.setProcessEnvironment(env);
    m_keyring.setChildProcessModifier(dieWithTheTest);
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
