#include "ChatCompletionCall.h"

#include "ChatCompletionEndpoint.h"
#include "Log.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QUtf8StringView>

#include <algorithm>
#include <cmath>

ChatCompletionCall::ChatCompletionCall(QNetworkAccessManager &network, Clock &clock, const ModelCredentials &credentials,
                                       const QJsonObject &body, Done done, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_clock(clock)
    , m_credentials(credentials)
    , m_body(QJsonDocument(body).toJson(QJsonDocument::Compact))
    , m_done(std::move(done))
    , m_deadline(clock, ChatCompletionEndpoint::timeout, this, [this] { onTimedOut(); })
{
}

ChatCompletionCall::~ChatCompletionCall()
{
    abort();
}

void ChatCompletionCall::start()
{
    m_attempt = 0;
    send();
}

void ChatCompletionCall::abort()
{
    m_done = nullptr;
    m_deadline.stop();
    if (m_sleep)
        m_clock.cancel(std::exchange(m_sleep, 0));
    dropReply();
}

void ChatCompletionCall::send()
{
    m_reply = m_network.post(ChatCompletionEndpoint::request(m_credentials), m_body);
    connect(m_reply, &QNetworkReply::finished, this, &ChatCompletionCall::onFinished);
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this] { m_deadline.touch(); });
    m_deadline.start();
}

void ChatCompletionCall::dropReply()
{
    ChatCompletionEndpoint::release(m_reply, this);
}

void ChatCompletionCall::onTimedOut()
{
    dropReply();
    finish(SummaryResult<QString>::failure(SummaryError::of(SummaryError::Kind::TimedOut)));
}

void ChatCompletionCall::onFinished()
{
    m_deadline.stop();
    QNetworkReply *reply = m_reply.data();
    m_reply = nullptr;
    if (!reply)
        return;
    reply->deleteLater();

    const QNetworkReply::NetworkError error = reply->error();
    const QVariant statusAttribute = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    // Connection-level failures (1-199) are never retried; HTTP statuses come with errors too.
    if (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied) {
        finish(SummaryResult<QString>::failure(SummaryError::of(SummaryError::Kind::Transport, reply->errorString())));
        return;
    }
    if (!statusAttribute.isValid()) {
        finish(SummaryResult<QString>::failure(SummaryError::of(SummaryError::Kind::InvalidResponse)));
        return;
    }
    const int status = statusAttribute.toInt();
    if (status == 429) {
        onRateLimited(reply->rawHeader("Retry-After"));
        return;
    }
    const QByteArray body = reply->readAll();
    if (status != 200) {
        const QString message = QUtf8StringView(body).isValidUtf8() ? QString::fromUtf8(body) : QStringLiteral("Unknown error");
        finish(SummaryResult<QString>::failure(SummaryError::api(status, message)));
        return;
    }
    finish(contentOf(body));
}

void ChatCompletionCall::onRateLimited(const QByteArray &retryAfter)
{
    const double wait = waitSeconds(m_attempt, retryAfterSeconds(retryAfter));
    qCInfo(lcOndel).noquote() << QStringLiteral("Rate limited, retrying in %1s (attempt %2/%3)")
                                     .arg(QString::asprintf("%.0f", wait))
                                     .arg(m_attempt + 1)
                                     .arg(maxAttempts);
    // The wait comes before the test, so the last attempt waits too and only then gives up.
    const auto delay = std::chrono::milliseconds(std::llround(wait * 1000.0));
    m_sleep = m_clock.schedule(delay, this, [this] {
        m_sleep = 0;
        if (m_attempt >= maxAttempts - 1) {
            finish(SummaryResult<QString>::failure(SummaryError::api(429, QStringLiteral("Rate limited"))));
            return;
        }
        ++m_attempt;
        send();
    });
}

void ChatCompletionCall::finish(const SummaryResult<QString> &result)
{
    if (Done done = std::exchange(m_done, nullptr))
        done(result);
}

std::optional<double> ChatCompletionCall::retryAfterSeconds(const QByteArray &value)
{
    static const QRegularExpression decimal(QStringLiteral("^[+-]?(\\d+(\\.\\d*)?|\\.\\d+)([eE][+-]?\\d+)?$"));
    const QString text = QString::fromLatin1(value);
    if (!decimal.match(text).hasMatch())
        return std::nullopt;
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    if (!ok && !std::isinf(seconds))
        return std::nullopt;
    return seconds;
}

double ChatCompletionCall::waitSeconds(int attempt, std::optional<double> retryAfter)
{
    const double wait = retryAfter ? *retryAfter : std::pow(2.0, attempt + 1);
    // A negative value would be a wait into the past: try again at once.
    return std::clamp(wait, 0.0, maxWaitSeconds);
}

SummaryResult<QString> ChatCompletionCall::contentOf(const QByteArray &body)
{
    using Result = SummaryResult<QString>;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return Result::failure(SummaryError::of(SummaryError::Kind::Json, parseError.errorString()));
    const Result wrongShape = Result::failure(SummaryError::of(SummaryError::Kind::Parse));
    if (!document.isObject())
        return wrongShape;
    const QJsonValue choices = document.object().value(QStringLiteral("choices"));
    if (!choices.isArray() || choices.toArray().isEmpty())
        return wrongShape;
    const QJsonArray list = choices.toArray();
    for (const QJsonValue &choice : list) {
        if (!choice.isObject())
            return wrongShape;
    }
    const QJsonValue message = list.first().toObject().value(QStringLiteral("message"));
    if (!message.isObject())
        return wrongShape;
    const QJsonValue content = message.toObject().value(QStringLiteral("content"));
    if (!content.isString())
        return wrongShape;
    return Result::success(content.toString());
}
