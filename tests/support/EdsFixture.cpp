#include "EdsFixture.h"

#include "SessionBus.h"
#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace {

const QString kRegistryService = QStringLiteral("org.gnome.evolution.dataserver.Sources5");
const QString kCalendarService = QStringLiteral("org.gnome.evolution.dataserver.Calendar8");

// The program the system's activation file names for a service (its place differs by release).
QString activatedProgram(const QString &service)
{
    QSettings file(QStringLiteral("/usr/share/dbus-1/services/%1.service").arg(service), QSettings::IniFormat);
    const QString program = file.value(QStringLiteral("D-BUS Service/Exec")).toString().section(u' ', 0, 0);
    return QFileInfo(program).isExecutable() ? program : QString();
}

} // namespace

EdsFixture::EdsFixture()
    : m_registry(activatedProgram(kRegistryService))
    , m_factory(activatedProgram(kCalendarService))
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty())
        m_missing = QStringLiteral("dbus-daemon is not installed");
    else if (m_registry.isEmpty() || m_factory.isEmpty())
        m_missing = QStringLiteral("evolution-data-server is not installed");
    for (const char *dir : {"home", "config/evolution/sources", "data", "cache", "run", "services"})
        QDir(m_dir.path()).mkpath(QString::fromLatin1(dir));
    QFile::setPermissions(m_dir.filePath(QStringLiteral("run")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

EdsFixture::~EdsFixture() = default;

void EdsFixture::writeSource(const QString &uid, const QString &keyFile)
{
    putFile(m_dir.filePath(QStringLiteral("config/evolution/sources/%1.source").arg(uid)), keyFile.toUtf8());
}

void EdsFixture::writeCalendar(const QString &uid, const QString &name, const QString &parent, const QString &color,
                               const QString &backend, const QString &extra)
{
    QString text = QStringLiteral("[Data Source]\nDisplayName=%1\nEnabled=true\nParent=%2\n\n[Calendar]\nBackendName=%3\n")
                       .arg(name, parent, backend);
    if (!color.isEmpty())
        text += QStringLiteral("Color=%1\n").arg(color);
    if (!extra.isEmpty())
        text += u'\n' + extra;
    writeSource(uid, text);
}

QString EdsFixture::writeFile(const QString &name, const QByteArray &content)
{
    const QString path = m_dir.filePath(QStringLiteral("files/") + name);
    putFile(path, content);
    return path;
}

QString EdsFixture::writeServiceFile(const QString &name, const QString &program)
{
    const QString path = m_dir.filePath(QStringLiteral("services/%1.service").arg(name));
    putFile(path, QStringLiteral("[D-BUS Service]\nName=%1\nExec=%2\n").arg(name, program).toUtf8());
    return path;
}

bool EdsFixture::start()
{
    if (!m_missing.isEmpty() || !m_dir.isValid()) {
        m_error = m_missing.isEmpty() ? QStringLiteral("no temporary folder") : m_missing;
        return false;
    }
    // Only the two services: the registry and the calendar factory, and nothing of the desktop's.
    writeServiceFile(kRegistryService, m_registry);
    writeServiceFile(kCalendarService, m_factory);

    SessionBus::Options options;
    for (const QString &name : {QStringLiteral("DISPLAY"), QStringLiteral("WAYLAND_DISPLAY"),
                                QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("XDG_DATA_DIRS")})
        options.environment.remove(name);
    options.environment.insert(QStringLiteral("HOME"), m_dir.filePath(QStringLiteral("home")));
    options.environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
    options.environment.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
    options.environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_dir.filePath(QStringLiteral("cache")));
    options.environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.filePath(QStringLiteral("run")));
    // Settings in memory: no dconf service to start, nothing written for the user.
    options.environment.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
    options.serviceFolders = {m_dir.filePath(QStringLiteral("services"))};
    m_bus = std::make_unique<SessionBus>(m_dir.filePath(QStringLiteral("run")), options);
    m_error = m_bus->error();
    return m_error.isEmpty();
}
