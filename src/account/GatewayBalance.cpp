#include "GatewayBalance.h"

#include "ReplyDeadline.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>

void GatewayBalance::fetch(QNetworkAccessManager &network, Clock &clock, const QUrl &webBase, const QString &key, QObject *context,
                           Done done)
{
    QUrl url = webBase;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("v1/credits/balance"));
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    QNetworkReply *reply = network.get(request);
    const std::shared_ptr<const bool> timedOut = ReplyDeadline::arm(clock, reply, timeout);
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, timedOut, guard = QPointer<QObject>(context), done = std::move(done)] {
        reply->deleteLater();
        if (!guard)
            return;
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (*timedOut || reply->error() != QNetworkReply::NoError || status.toInt() != 200) {
            done(std::nullopt);
            return;
        }
        done(parse(reply->readAll()));
    });
}

std::optional<double> GatewayBalance::parse(const QByteArray &body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    const QJsonValue balance = document.object().value(QStringLiteral("balance"));
    if (!document.isObject() || !balance.isDouble())
        return std::nullopt;
    return balance.toDouble();
}
