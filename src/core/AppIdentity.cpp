#include "AppIdentity.h"

#include <QDir>
#include <QMutex>
#include <QStandardPaths>

namespace {
QMutex identifierMutex;
QString currentIdentifier = QString::fromLatin1(AppIdentity::baseIdentifier);

QString xdgFolder(const char *variable, const QString &fallbackBelowHome)
{
    // The XDG rule: an unset or relative value means the default.
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return value;
    return QDir::homePath() + QLatin1Char('/') + fallbackBelowHome;
}
} // namespace

void AppIdentity::setBundleIdentifier(const QString &identifier)
{
    QMutexLocker lock(&identifierMutex);
    currentIdentifier = identifier;
}

QString AppIdentity::chooseBundleIdentifier(const QString &buildIdentifier)
{
    const QString requested = qEnvironmentVariable("ONDEL_BUNDLE_ID");
    return requested.startsWith(QLatin1String(baseIdentifier)) ? requested : buildIdentifier;
}

QString AppIdentity::bundleIdentifier()
{
    QMutexLocker lock(&identifierMutex);
    return currentIdentifier;
}

QString AppIdentity::containerName(const QString &identifier)
{
    if (identifier.endsWith(QLatin1String(".dev")))
        return QStringLiteral("Ondel-Dev");
    if (identifier.endsWith(QLatin1String(".test")))
        return QStringLiteral("Ondel-Test");
    return QStringLiteral("Ondel");
}

QString AppIdentity::containerName()
{
    return containerName(bundleIdentifier());
}

bool AppIdentity::isDevelopmentBuild()
{
    return bundleIdentifier().endsWith(QLatin1String(".dev"));
}

bool AppIdentity::isTestBuild()
{
    return bundleIdentifier().endsWith(QLatin1String(".test"));
}

QString AppIdentity::dataDirectory()
{
    return xdgFolder("XDG_DATA_HOME", QStringLiteral(".local/share")) + QLatin1Char('/') + containerName();
}

QString AppIdentity::configDirectory()
{
    return xdgFolder("XDG_CONFIG_HOME", QStringLiteral(".config")) + QLatin1Char('/') + containerName();
}
