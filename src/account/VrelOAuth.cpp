#include "VrelOAuth.h"

#include "Pkce.h"
#include "QueryItems.h"
#include "ReplyDeadline.h"
#include "ServiceOrigins.h"
#include "UrlOpening.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringDecoder>
#include <QUrlQuery>

namespace {

QUrl atWebOrigin(const QUrl &base, const QString &path)
{
    QUrl url = base;
    QString joined = url.path();
    if (!joined.endsWith(QLatin1Char('/')))
        joined += QLatin1Char('/');
    url.setPath(joined + path);
    return url;
}

VrelOAuth::AuthError authError(VrelOAuth::AuthError::Kind kind, int status = 0, const QString &body = {})
{
    return VrelOAuth::AuthError{kind, status, body};
}

} // namespace

QString VrelOAuth::AuthError::description() const
{
    switch (kind) {
    case Kind::Server:
        return QStringLiteral("Sign-in failed (%1). Please try again.").arg(status);
    case Kind::Cancelled:
        return QStringLiteral("Sign-in cancelled.");
    case Kind::StateMismatch:
        return QStringLiteral("Security check failed — please try again.");
    case Kind::MissingCode:
        break;
    }
    return QStringLiteral("No authorization code received.");
}

VrelOAuth::VrelOAuth(QNetworkAccessManager &network, const Settings &settings, Clock &clock, UrlOpener opener, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_settings(settings)
    , m_clock(clock)
    , m_opener(std::move(opener))
{
    if (!m_opener)
        m_opener = &UrlOpening::open;
}

VrelOAuth::~VrelOAuth()
{
    m_done = nullptr;
    stopWaiting();
    if (QNetworkReply *reply = m_exchange.data()) {
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }
}

void VrelOAuth::setCallbackRoute(CallbackRoute route)
{
    m_route = std::move(route);
}

void VrelOAuth::setUrlOpener(UrlOpener opener)
{
    if (opener)
        m_opener = std::move(opener);
}

QUrl VrelOAuth::authorizeUrl(const QString &challenge, const QString &state) const
{
    QUrl url = atWebOrigin(ServiceOrigins::vrelWebBase(m_settings), QStringLiteral("v1/auth/authorize"));
    QUrlQuery query;
    query.setQueryItems({
        {QStringLiteral("client_id"), QLatin1String(clientId)},
        {QStringLiteral("redirect_uri"), QLatin1String(redirectUri)},
        {QStringLiteral("response_type"), QStringLiteral("code")},
        {QStringLiteral("code_challenge"), challenge},
        {QStringLiteral("code_challenge_method"), QStringLiteral("S256")},
        {QStringLiteral("state"), state},
        {QStringLiteral("scope"), QLatin1String(scope)},
    });
    url.setQuery(query);
    return url;
}

QUrl VrelOAuth::tokenUrl() const
{
    return atWebOrigin(ServiceOrigins::vrelWebBase(m_settings), QStringLiteral("v1/auth/token"));
}

void VrelOAuth::signIn(Done done)
{
    if (isRunning())
        finish(authError(AuthError::Kind::Cancelled));
    m_done = std::move(done);
    const quint64 attempt = ++m_attempt;
    m_verifier = Pkce::randomURLSafe(64);
    m_state = Pkce::randomURLSafe(32);
    const QUrl url = authorizeUrl(Pkce::challenge(m_verifier), m_state);

    if (!m_route.await) {
        finish(OtherError{QStringLiteral("nothing routes the sign-in's callback to this app")});
        return;
    }
    m_route.await([self = QPointer<VrelOAuth>(this), attempt](const QUrl &callback) {
        if (self && self->m_attempt == attempt && self->isRunning() && !self->m_exchange)
            self->onCallback(callback);
    });
    if (!m_opener(url))
        finish(OtherError{QStringLiteral("the browser could not be opened")});
}

void VrelOAuth::cancel()
{
    if (isRunning())
        finish(authError(AuthError::Kind::Cancelled));
}

std::variant<QString, VrelOAuth::AuthError> VrelOAuth::codeFrom(const QUrl &callback, const QString &expectedState)
{
    if (!callback.isValid() || !callback.hasQuery())
        return authError(AuthError::Kind::StateMismatch);
    const std::optional<QString> state = QueryItems::firstValue(callback, QStringLiteral("state"));
    if (!state || *state != expectedState)
        return authError(AuthError::Kind::StateMismatch);
    const std::optional<QString> code = QueryItems::firstValue(callback, QStringLiteral("code"));
    if (!code || code->isEmpty())
        return authError(AuthError::Kind::MissingCode);
    return *code;
}

void VrelOAuth::onCallback(const QUrl &callback)
{
    const std::variant<QString, AuthError> code = codeFrom(callback, m_state);
    if (const AuthError *error = std::get_if<AuthError>(&code)) {
        finish(*error);
        return;
    }
    exchange(std::get<QString>(code));
}

QByteArray VrelOAuth::tokenRequestBody(const QString &code, const QString &verifier)
{
    const QList<QPair<QByteArray, QString>> items{
        {"grant_type", QStringLiteral("authorization_code")},
        {"code", code},
        {"code_verifier", verifier},
        {"client_id", QLatin1String(clientId)},
        {"redirect_uri", QLatin1String(redirectUri)},
    };
    QByteArray body;
    for (const auto &[name, value] : items) {
        if (!body.isEmpty())
            body += '&';
        body += name + '=' + QUrl::toPercentEncoding(value);
    }
    return body;
}

void VrelOAuth::exchange(const QString &code)
{
    QNetworkRequest request(tokenUrl());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
    QNetworkReply *reply = m_network.post(request, tokenRequestBody(code, m_verifier));
    m_exchange = reply;
    const std::shared_ptr<const bool> timedOut = ReplyDeadline::arm(m_clock, reply, exchangeTimeout);
    connect(reply, &QNetworkReply::finished, this, [this, reply, timedOut] { onExchanged(reply, *timedOut); });
}

void VrelOAuth::onExchanged(QNetworkReply *reply, bool timedOut)
{
    reply->deleteLater();
    if (reply != m_exchange)
        return; // cancelled, or replaced by a newer sign-in
    m_exchange = nullptr;
    if (timedOut) {
        finish(OtherError{ReplyDeadline::timedOutText()});
        return;
    }
    const QNetworkReply::NetworkError error = reply->error();
    if (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied) {
        finish(OtherError{reply->errorString()});
        return;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    finish(tokenOutcome(status.isValid() ? status.toInt() : 0, reply->readAll()));
}

VrelOAuth::Outcome VrelOAuth::tokenOutcome(int status, const QByteArray &body)
{
    if (status != 200) {
        QStringDecoder decoder(QStringDecoder::Utf8);
        QString text = decoder(body);
        if (decoder.hasError())
            text.clear();
        return authError(AuthError::Kind::Server, status, text);
    }
    const AuthError malformed = authError(AuthError::Kind::Server, 200, QStringLiteral("Malformed token response"));
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return malformed;
    const QJsonObject object = document.object();
    const QJsonValue email = object.value(QStringLiteral("email"));
    const QJsonValue apiKey = object.value(QStringLiteral("api_key"));
    const QJsonValue accessToken = object.value(QStringLiteral("access_token"));
    const QJsonValue balance = object.value(QStringLiteral("balance"));
    // Optional keys may be absent or null, but never of another type.
    const auto absent = [](const QJsonValue &value) { return value.isUndefined() || value.isNull(); };
    if (!email.isString() || !(absent(apiKey) || apiKey.isString()) || !(absent(accessToken) || accessToken.isString())
        || !(absent(balance) || balance.isDouble()))
        return malformed;
    // An api_key that is there but empty does not fall through to the access token.
    const QString key = absent(apiKey) ? accessToken.toString() : apiKey.toString();
    if (key.isEmpty())
        return malformed;
    return Session{key, email.toString(), absent(balance) ? std::nullopt : std::optional<double>(balance.toDouble())};
}

void VrelOAuth::stopWaiting()
{
    if (m_route.cancel)
        m_route.cancel();
}

void VrelOAuth::finish(const Outcome &outcome)
{
    stopWaiting();
    if (QNetworkReply *reply = m_exchange.data()) {
        m_exchange = nullptr;
        reply->abort(); // its end is no longer wanted: onExchanged sees it is not the current one
    }
    m_verifier.clear();
    m_state.clear();
    if (Done done = std::exchange(m_done, nullptr))
        done(outcome);
}
