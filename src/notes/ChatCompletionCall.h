#pragma once

#include "Clock.h"
#include "IdleDeadline.h"
#include "ModelCredentials.h"
#include "SummaryError.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

// One chat-completions request with its own attempt counter: status 429 waits (Retry-After in
// seconds, else 2, 4, 8; at most 60) and tries again, three times in all; any other failure ends
// it at once. Lives on the thread of `network`, and so do its callback and waits.
class ChatCompletionCall : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxAttempts = 3;
    static constexpr double maxWaitSeconds = 60;

    using Done = std::function<void(const SummaryResult<QString> &)>;

    ChatCompletionCall(QNetworkAccessManager &network, Clock &clock, const ModelCredentials &credentials, const QJsonObject &body,
                       Done done, QObject *parent = nullptr);
    ~ChatCompletionCall() override;

    void start();
    // Drops the request or the wait in progress; `done` is not called.
    void abort();

    // A Retry-After value whose whole text is a decimal number of seconds; a date is not.
    static std::optional<double> retryAfterSeconds(const QByteArray &value);
    // The wait before attempt `attempt` + 1 is tried again.
    static double waitSeconds(int attempt, std::optional<double> retryAfter);
    // The model's text from the body of a 200 answer.
    static SummaryResult<QString> contentOf(const QByteArray &body);

private:
    void send();
    void onFinished();
    void onRateLimited(const QByteArray &retryAfter);
    void onTimedOut();
    void dropReply();
    void finish(const SummaryResult<QString> &result);

    QNetworkAccessManager &m_network;
    Clock &m_clock;
    ModelCredentials m_credentials;
    QByteArray m_body;
    Done m_done;
    int m_attempt = 0;
    QPointer<QNetworkReply> m_reply;
    Clock::TimerId m_sleep = 0;
    IdleDeadline m_deadline;
};
