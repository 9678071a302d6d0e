#include "OndelCloud.h"

#include "ReplyDeadline.h"
#include "ServiceOrigins.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <cmath>

namespace {

// The path as one more component after the base's own path, which an override may carry.
QUrl appendPath(const QUrl &base, const QString &path)
{
    QUrl url = base;
    QString joined = url.path();
    while (joined.endsWith(QLatin1Char('/')))
        joined.chop(1);
    QString tail = path;
    while (tail.startsWith(QLatin1Char('/')))
        tail.remove(0, 1);
    url.setPath(joined + QLatin1Char('/') + tail);
    return url;
}

CloudResult<QByteArray> outcomeOf(QNetworkReply &reply, bool timedOut)
{
    using Result = CloudResult<QByteArray>;
    if (timedOut)
        return Result::failure(CloudError::network(ReplyDeadline::timedOutText()));
    // Errors below 201 are the connection's; the ones above come with a status of their own.
    const QNetworkReply::NetworkError error = reply.error();
    if (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied)
        return Result::failure(CloudError::network(reply.errorString()));
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        return Result::failure(CloudError::malformed());
    const QByteArray body = reply.readAll();
    const int code = status.toInt();
    if (code < 200 || code > 299)
        return Result::failure(cloudRefusalFromJson(body, code).value_or(CloudError::httpStatus(code)));
    return Result::success(body);
}

} // namespace

OndelCloud::OndelCloud(QNetworkAccessManager &network, const Settings &settings, Clock &clock)
    : m_network(network)
    , m_settings(settings)
    , m_clock(clock)
{
}

QUrl OndelCloud::baseURL() const
{
    return ServiceOrigins::ondelCloudBase(m_settings);
}

void OndelCloud::requestSignIn(const QString &email, QObject *context, Done<EmptyOK> done) const
{
    request<EmptyOK>("POST", QStringLiteral("/v1/auth/request"), QMap<QString, QString>{{QStringLiteral("email"), email}},
                     std::nullopt, context, std::move(done));
}

void OndelCloud::verify(const QString &email, const QString &code, QObject *context, Done<VerifyResult> done) const
{
    request<VerifyResult>("POST", QStringLiteral("/v1/auth/verify"),
                          QMap<QString, QString>{{QStringLiteral("email"), email}, {QStringLiteral("code"), code}}, std::nullopt,
                          context, std::move(done));
}

void OndelCloud::verify(const QString &token, QObject *context, Done<VerifyResult> done) const
{
    request<VerifyResult>("POST", QStringLiteral("/v1/auth/verify"), QMap<QString, QString>{{QStringLiteral("token"), token}},
                          std::nullopt, context, std::move(done));
}

void OndelCloud::signOut(const QString &sessionToken, QObject *context, Done<EmptyOK> done) const
{
    request<EmptyOK>("POST", QStringLiteral("/v1/auth/signout"), QMap<QString, QString>{}, sessionToken, context, std::move(done));
}

void OndelCloud::me(const QString &sessionToken, QObject *context, Done<AccountInfo> done) const
{
    request<AccountInfo>("GET", QStringLiteral("/v1/me"), std::nullopt, sessionToken, context, std::move(done));
}

void OndelCloud::share(const ShareNotes &notes, const QString &bearer, const std::optional<QString> &email, QObject *context,
                       Done<ShareResult> done) const
{
    request<ShareResult>("POST", QStringLiteral("/v1/shares"), shareBody(notes, email), bearer, context, std::move(done));
}

QMap<QString, QString> OndelCloud::shareBody(const ShareNotes &notes, const std::optional<QString> &email)
{
    const double seconds = std::isfinite(notes.durationSeconds) ? std::trunc(notes.durationSeconds) : 0.0;
    QMap<QString, QString> body{
        {QStringLiteral("title"), notes.title.isEmpty() ? QStringLiteral("Untitled meeting") : notes.title},
        {QStringLiteral("summary"), notes.summary},
        {QStringLiteral("date"), notes.date.toUTC().toString(Qt::ISODate)},
        {QStringLiteral("duration"), QString::number(qint64(seconds))},
    };
    if (email)
        body.insert(QStringLiteral("email"), *email);
    return body;
}

template<typename T>
void OndelCloud::request(const char *method, const QString &path, const JsonBody &json, const std::optional<QString> &bearer,
                         QObject *context, Done<T> done) const
{
    send(method, path, json, bearer, context, [done = std::move(done)](const CloudResult<QByteArray> &raw) {
        if (!raw.ok()) {
            done(CloudResult<T>::failure(*raw.error));
            return;
        }
        const std::optional<T> value = T::fromJson(raw.value);
        done(value ? CloudResult<T>::success(*value) : CloudResult<T>::failure(CloudError::malformed()));
    });
}

void OndelCloud::send(const char *method, const QString &path, const JsonBody &json, const std::optional<QString> &bearer,
                      QObject *context, RawDone done) const
{
    QNetworkRequest request(appendPath(baseURL(), path));
    // A redirect is a refusal like any other status outside 2xx, and the bearer never follows one.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (bearer)
        request.setRawHeader("Authorization", "Bearer " + bearer->toUtf8());
    QNetworkReply *reply = nullptr;
    if (json) {
        QJsonObject object;
        for (auto it = json->cbegin(); it != json->cend(); ++it)
            object.insert(it.key(), it.value());
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        reply = m_network.sendCustomRequest(request, method, QJsonDocument(object).toJson(QJsonDocument::Compact));
    } else if (qstrcmp(method, "GET") == 0) {
        reply = m_network.get(request); // no body, so no length and no type either
    } else {
        reply = m_network.sendCustomRequest(request, method);
    }
    const std::shared_ptr<const bool> timedOut = ReplyDeadline::arm(m_clock, reply, timeout);
    QObject::connect(reply, &QNetworkReply::finished, reply,
                     [reply, timedOut, guard = QPointer<QObject>(context), done = std::move(done)] {
                         reply->deleteLater();
                         if (guard)
                             done(outcomeOf(*reply, *timedOut));
                     });
}
