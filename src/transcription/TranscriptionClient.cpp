#include "TranscriptionClient.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

TranscriptionClient::TranscriptionClient(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
}

TranscriptionClient::~TranscriptionClient()
{
    if (m_timeoutTimer)
        m_clock.cancel(m_timeoutTimer);
}

void TranscriptionClient::send(const ModelCredentials &credentials, const QString &recordingId,
                               const TranscriptionRequest::Fields &fields, const QByteArray &wav, Done done)
{
    if (!m_network)
        m_network = new QNetworkAccessManager(this);

    const QByteArray boundary = TranscriptionRequest::newBoundary();
    QNetworkRequest request(TranscriptionRequest::endpoint(credentials.baseURL));
    request.setRawHeader("Authorization", "Bearer " + credentials.token.toUtf8());
    request.setRawHeader("X-Recording-Id", recordingId.toUtf8());
    request.setRawHeader("Content-Type", TranscriptionRequest::contentType(boundary));

    QNetworkReply *reply = m_network->post(request, TranscriptionRequest::multipartBody(boundary, fields, wav));
    auto timedOut = std::make_shared<bool>(false);
    const QPointer<QNetworkReply> guarded(reply);
    m_timeoutTimer = m_clock.schedule(timeout, this, [this, guarded, timedOut] {
        m_timeoutTimer = 0;
        *timedOut = true;
        if (guarded)
            guarded->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, timedOut, done = std::move(done)] {
        if (m_timeoutTimer) {
            m_clock.cancel(m_timeoutTimer);
            m_timeoutTimer = 0;
        }
        finished(reply, *timedOut, done);
    });
}

void TranscriptionClient::finished(QNetworkReply *reply, bool timedOut, const Done &done)
{
    reply->deleteLater();
    if (timedOut) {
        done(TranscriptionOutcome::failure(QStringLiteral("The request timed out.")));
        return;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        // No answer from a server at all: the transport's own words.
        const bool transportFailed = reply->error() != QNetworkReply::NoError;
        done(TranscriptionOutcome::failure(transportFailed ? reply->errorString() : QStringLiteral("No HTTP response")));
        return;
    }
    done(TranscriptionAnswer::read(status.toInt(), reply->readAll()));
}
