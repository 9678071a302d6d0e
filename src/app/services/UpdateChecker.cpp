#include "UpdateChecker.h"

#include "ServiceOrigins.h"
#include "Settings.h"
#include "UrlOpening.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

// A file at the top of the site, also when its origin carries a path.
QUrl siteFile(QUrl base, const QString &name)
{
    QString path = base.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    base.setPath(path + name);
    base.setQuery(QString());
    base.setFragment(QString());
    return base;
}

QList<qlonglong> versionParts(const QString &version)
{
    QList<qlonglong> parts;
    for (const QString &part : version.split(QLatin1Char('.'), Qt::SkipEmptyParts)) {
        bool ok = false;
        const qlonglong number = part.toLongLong(&ok, 10);
        parts.append(ok ? number : 0);
    }
    return parts;
}

} // namespace

UpdateChecker::UpdateChecker(QNetworkAccessManager &network, const Settings &settings, UrlOpener opener, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_settings(settings)
    , m_opener(opener ? std::move(opener) : UrlOpener(&UrlOpening::open))
{
}

QUrl UpdateChecker::versionFileUrl() const
{
    return siteFile(ServiceOrigins::ondelWebBase(m_settings), QStringLiteral("latest.json"));
}

QUrl UpdateChecker::defaultDownloadUrl() const
{
    // The site's package for this platform: the Mac's disk image, and on Linux the Debian package
    // that the project builds.
#ifdef Q_OS_MACOS
    return siteFile(ServiceOrigins::ondelWebBase(m_settings), QStringLiteral("Ondel.dmg"));
#else
    return siteFile(ServiceOrigins::ondelWebBase(m_settings), QStringLiteral("Ondel.deb"));
#endif
}

void UpdateChecker::check()
{
    QNetworkRequest request(versionFileUrl());
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setTransferTimeout(timeoutMs);
    QNetworkReply *reply = m_network.get(request);
    reply->setParent(this); // a checker that goes away takes its request with it
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        if (reply->error() == QNetworkReply::NoError && reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200)
            apply(reply->readAll());
    });
}

void UpdateChecker::apply(const QByteArray &body)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return;
    const QJsonObject file = document.object();
    QString version = file.value(QLatin1String("version")).toString();
    if (version.startsWith(QLatin1Char('v')))
        version.remove(0, 1);
    if (version.isEmpty())
        return;

    QUrl url;
    if (const QJsonValue address = file.value(QLatin1String("url")); address.isString()) {
        const QUrl parsed(address.toString(), QUrl::StrictMode);
        if (parsed.isValid() && !parsed.isEmpty())
            url = versionFileUrl().resolved(parsed); // a relative address is the site's own
    }
    if (version == m_latestVersion && url == m_downloadUrl)
        return;
    m_latestVersion = version;
    m_downloadUrl = url;
    Q_EMIT releaseChanged();
}

bool UpdateChecker::isUpdateAvailable() const
{
    return !m_latestVersion.isEmpty() && isNewer(m_latestVersion, currentVersion());
}

void UpdateChecker::openDownload()
{
    m_opener(m_downloadUrl.isEmpty() ? defaultDownloadUrl() : m_downloadUrl);
}

QString UpdateChecker::currentVersion()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? QStringLiteral("0.0.0") : version;
}

bool UpdateChecker::isNewer(const QString &version, const QString &than)
{
    const QList<qlonglong> a = versionParts(version);
    const QList<qlonglong> b = versionParts(than);
    for (qsizetype i = 0; i < std::max(a.size(), b.size()); ++i) {
        const qlonglong x = i < a.size() ? a[i] : 0;
        const qlonglong y = i < b.size() ? b[i] : 0;
        if (x != y)
            return x > y;
    }
    return false;
}
