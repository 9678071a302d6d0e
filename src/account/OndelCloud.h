#pragma once

#include "CloudError.h"
#include "CloudRecords.h"
#include "Clock.h"

#include <QDateTime>
#include <QMap>
#include <QPointer>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>

class QNetworkAccessManager;
class Settings;

// All traffic with the Ondel cloud: the email sign-in, the account record, sign-out, and
// publishing notes behind a public link. It holds no token and no cache: callers hand in the
// bearer. Nothing is retried; every failure goes to the caller as a CloudError.
//
// Each call answers once, on the network's thread, through `done`; if `context` is gone by then,
// the answer is dropped. Several calls may be in flight at once.
class OndelCloud
{
public:
    static constexpr std::chrono::seconds timeout{20};

    template<typename T>
    using Done = std::function<void(const CloudResult<T> &result)>;

    // What a share publishes.
    struct ShareNotes
    {
        QString title;
        QString summary;
        QDateTime date;
        double durationSeconds = 0;
    };

    OndelCloud(QNetworkAccessManager &network, const Settings &settings, Clock &clock);

    // The override in the settings when it is a URL, else the build's; read anew for every call.
    QUrl baseURL() const;

    void requestSignIn(const QString &email, QObject *context, Done<EmptyOK> done) const;
    // The 6-digit code typed by the user.
    void verify(const QString &email, const QString &code, QObject *context, Done<VerifyResult> done) const;
    // The token out of a sign-in link.
    void verify(const QString &token, QObject *context, Done<VerifyResult> done) const;
    void signOut(const QString &sessionToken, QObject *context, Done<EmptyOK> done) const;
    void me(const QString &sessionToken, QObject *context, Done<AccountInfo> done) const;
    // `email` goes along only with the gateway key as the bearer, and only when one is known.
    void share(const ShareNotes &notes, const QString &bearer, const std::optional<QString> &email, QObject *context,
               Done<ShareResult> done) const;

    // The share's body: the values as the server reads them.
    static QMap<QString, QString> shareBody(const ShareNotes &notes, const std::optional<QString> &email);

private:
    using JsonBody = std::optional<QMap<QString, QString>>;
    // The raw 2xx body, or the error that came instead.
    using RawDone = std::function<void(const CloudResult<QByteArray> &result)>;

    template<typename T>
    void request(const char *method, const QString &path, const JsonBody &json, const std::optional<QString> &bearer,
                 QObject *context, Done<T> done) const;
    void send(const char *method, const QString &path, const JsonBody &json, const std::optional<QString> &bearer,
              QObject *context, RawDone done) const;

    QNetworkAccessManager &m_network;
    const Settings &m_settings;
    Clock &m_clock;
};
