#include "TranscriptionClient.h"

#include "HttpPostConnection.h"

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
    if (!m_connection)
        m_connection = new HttpPostConnection(this);

    const QByteArray boundary = TranscriptionRequest::newBoundary();
    const HttpPostConnection::Headers headers{
        {"Authorization", "Bearer " + credentials.token.toUtf8()},
        {"X-Recording-Id", recordingId.toUtf8()},
        {"Content-Type", TranscriptionRequest::contentType(boundary)},
    };
    // Only one of the two ends an upload: the time-out aborts the exchange, whose answer then
    // never comes.
    m_timeoutTimer = m_clock.schedule(timeout, this, [this, done] {
        m_timeoutTimer = 0;
        m_connection->abort();
        done(TranscriptionOutcome::failure(QStringLiteral("The request timed out.")));
    });
    m_connection->post(TranscriptionRequest::endpoint(credentials.baseURL), headers,
                       TranscriptionRequest::multipartBody(boundary, fields, wav),
                       [this, done = std::move(done)](const HttpPostConnection::Response &response) {
                           if (m_timeoutTimer) {
                               m_clock.cancel(m_timeoutTimer);
                               m_timeoutTimer = 0;
                           }
                           if (response.status == 0) // no answer from a server at all: the transport's own words
                               done(TranscriptionOutcome::failure(response.error.isEmpty() ? QStringLiteral("No HTTP response")
                                                                                           : response.error));
                           else
                               done(TranscriptionAnswer::read(response.status, response.body));
                       });
}
