#include "xdg/XdgAutostartLoginItem.h"

#include "AppIdentity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <algorithm>

namespace {

// An Exec argument: quoted when it holds a reserved character, and with the backslashes of the
// quoting escaped once more by the string rule of desktop entries.
QString execArgument(QString argument)
{
    argument.replace(QLatin1Char('%'), QLatin1String("%%")); // never read as a field code
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (std::none_of(argument.begin(), argument.end(), [](QChar c) { return reserved.contains(c); }))
        return argument;
    QString quoted = QStringLiteral("\"");
    for (const QChar c : argument) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    quoted += QLatin1Char('"');
    return quoted.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('\n'), QLatin1String("\\n"));
}

} // namespace

XdgAutostartLoginItem::XdgAutostartLoginItem(const QString &autostartFolder, const QString &executable)
    : m_folder(autostartFolder.isEmpty() ? defaultFolder() : autostartFolder)
    , m_executable(executable.isEmpty() ? QCoreApplication::applicationFilePath() : executable)
{
}

QString XdgAutostartLoginItem::defaultFolder()
{
    // The XDG rule: an unset or relative value means the default.
    const QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString base = !configHome.isEmpty() && QDir::isAbsolutePath(configHome) ? configHome : QDir::homePath() + QStringLiteral("/.config");
    return base + QStringLiteral("/autostart");
}

QString XdgAutostartLoginItem::entryPath() const
{
    return m_folder + QLatin1Char('/') + AppIdentity::bundleIdentifier() + QStringLiteral(".desktop");
}

QByteArray XdgAutostartLoginItem::desktopEntry(const QString &name, const QString &executable)
{
    const QStringList lines = {
        QStringLiteral("[Desktop Entry]"),
        QStringLiteral("Type=Application"),
        QStringLiteral("Name=") + name,
        QStringLiteral("Exec=") + execArgument(executable),
        QStringLiteral("Terminal=false"),
        QStringLiteral("Hidden=false"),
        QStringLiteral("X-GNOME-Autostart-enabled=true"),
    };
    return lines.join(QLatin1Char('\n')).toUtf8() + '\n';
}

std::optional<QString> XdgAutostartLoginItem::setRegistered(bool registered)
{
    const QString path = entryPath();
    if (!registered) {
        QFile entry(path);
        if (entry.exists() && !entry.remove())
            return QStringLiteral("%1: %2").arg(path, entry.errorString());
        return std::nullopt;
    }
    if (!QDir().mkpath(m_folder))
        return QStringLiteral("Cannot create the folder %1").arg(m_folder);
    QSaveFile entry(path);
    if (!entry.open(QIODevice::WriteOnly) || entry.write(desktopEntry(AppIdentity::containerName(), m_executable)) < 0 || !entry.commit())
        return QStringLiteral("%1: %2").arg(path, entry.errorString());
    return std::nullopt;
}

bool XdgAutostartLoginItem::isRegistered() const
{
    QFile entry(entryPath());
    if (!entry.open(QIODevice::ReadOnly))
        return false;
    // Another tool may have switched the entry off rather than removed it.
    bool inMainGroup = false;
    while (!entry.atEnd()) {
        const QByteArray line = entry.readLine().trimmed();
        if (line.startsWith('[')) {
            inMainGroup = line == "[Desktop Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (!inMainGroup || equals < 0)
            continue;
        const QByteArray key = line.left(equals).trimmed();
        const QByteArray value = line.mid(equals + 1).trimmed();
        if ((key == "Hidden" && value == "true") || (key == "X-GNOME-Autostart-enabled" && value == "false"))
            return false;
    }
    return true;
}
