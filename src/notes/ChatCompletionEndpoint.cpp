#include "ChatCompletionEndpoint.h"

#include <QJsonObject>

QUrl ChatCompletionEndpoint::url(const QUrl &baseURL)
{
    QUrl url = baseURL;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("v1/chat/completions"));
    return url;
}

QNetworkRequest ChatCompletionEndpoint::request(const ModelCredentials &credentials)
{
    QNetworkRequest request(url(credentials.baseURL));
    request.setRawHeader("Authorization", "Bearer " + credentials.token.toUtf8());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    return request;
}

QJsonArray ChatCompletionEndpoint::messages(const QString &systemPrompt, const QString &userContent)
{
    return {message(QStringLiteral("system"), systemPrompt), message(QStringLiteral("user"), userContent)};
}

QJsonObject ChatCompletionEndpoint::message(const QString &role, const QString &content)
{
    return {{QStringLiteral("role"), role}, {QStringLiteral("content"), content}};
}

void ChatCompletionEndpoint::release(QPointer<QNetworkReply> &reply, QObject *owner)
{
    QNetworkReply *released = reply.data();
    reply = nullptr;
    if (!released)
        return;
    released->disconnect(owner);
    // Aborted a turn later: an error the reply has already queued (a failed status) must land
    // first, or the reply reports two. One that failed is only let go.
    QMetaObject::invokeMethod(
        released,
        [released] {
            if (!released->isFinished() && released->error() == QNetworkReply::NoError)
                released->abort();
            released->deleteLater();
        },
        Qt::QueuedConnection);
}
