#include "SessionBus.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>

#include <csignal>
#include <sys/prctl.h>

namespace {

QString busConfig(const QString &folder, const QStringList &serviceFolders)
{
    QString services;
    for (const QString &dir : serviceFolders)
        services += QStringLiteral("  <servicedir>%1</servicedir>\n").arg(dir);
    return QStringLiteral(
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig>\n"
        "  <type>session</type>\n"
        "  <listen>unix:dir=%1</listen>\n"
        "  <auth>EXTERNAL</auth>\n"
        "%2"
        "  <policy context=\"default\">\n"
        "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
        "    <allow eavesdrop=\"true\"/>\n"
        "    <allow own=\"*\"/>\n"
        "  </policy>\n"
        "</busconfig>\n")
        .arg(folder, services);
}

} // namespace

void SessionBus::dieWithTheTest()
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

SessionBus::SessionBus(const QString &folder, const Options &options)
    : m_process(new QProcess) // outlives this object on purpose, see the header
    , m_oldAddress(qgetenv("DBUS_SESSION_BUS_ADDRESS"))
{
    const QString config = folder + QStringLiteral("/bus.conf");
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly) || file.write(busConfig(folder, options.serviceFolders).toUtf8()) < 0) {
        m_error = QStringLiteral("cannot write the bus configuration");
        return;
    }
    file.close();

    m_process->setProcessEnvironment(options.environment);
    m_process->setChildProcessModifier(dieWithTheTest);
    m_process->start(QStringLiteral("dbus-daemon"), {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                                                     QStringLiteral("--print-address=1")});
    if (!m_process->waitForStarted(5000)) {
        m_error = QStringLiteral("dbus-daemon did not start: ") + m_process->errorString();
        return;
    }
    QDeadlineTimer deadline(10000);
    while (!m_process->canReadLine() && !deadline.hasExpired())
        m_process->waitForReadyRead(100);
    m_address = QString::fromUtf8(m_process->readLine()).trimmed();
    if (m_address.isEmpty()) {
        m_error = QStringLiteral("dbus-daemon gave no address");
        return;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
}

SessionBus::~SessionBus()
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_oldAddress);
}
