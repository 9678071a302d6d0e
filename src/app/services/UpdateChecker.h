#pragma once

#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
class Settings;

// Finds out whether a newer version has been published, for the sidebar's banner. It installs
// nothing. Every failure leaves what is known as it was: the check is a courtesy. Main thread.
class UpdateChecker : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString latestVersion READ latestVersion NOTIFY releaseChanged)
    Q_PROPERTY(QUrl downloadUrl READ downloadUrl NOTIFY releaseChanged)

public:
    // Opens an address with the system; false when it could not.
    using UrlOpener = std::function<bool(const QUrl &url)>;

    // Without an opener, addresses go to the desktop's (UrlOpening).
    UpdateChecker(QNetworkAccessManager &network, const Settings &settings, UrlOpener opener = {}, QObject *parent = nullptr);

    // The published version without a leading "v"; empty while none is known.
    QString latestVersion() const { return m_latestVersion; }
    // Where the published version is offered; empty when the version file names no address.
    QUrl downloadUrl() const { return m_downloadUrl; }

    // Reads the version file of the product's web site; the answer arrives later, if at all.
    Q_INVOKABLE void check();
    // A version is known and it is newer than this one.
    Q_INVOKABLE bool isUpdateAvailable() const;
    // Opens the download address, else the site's default one.
    Q_INVOKABLE void openDownload();

    // The application's version, "0.0.0" when the application has none.
    static QString currentVersion();
    // Compares dotted numbers from the left; a missing or unreadable part counts as 0.
    static bool isNewer(const QString &version, const QString &than);

    // The version file and the default download address under the site's origin.
    QUrl versionFileUrl() const;
    QUrl defaultDownloadUrl() const;

    static constexpr int timeoutMs = 15000;

Q_SIGNALS:
    void releaseChanged();

private:
    void apply(const QByteArray &body);

    QNetworkAccessManager &m_network;
    const Settings &m_settings;
    UrlOpener m_opener;
    QString m_latestVersion;
    QUrl m_downloadUrl;
};
