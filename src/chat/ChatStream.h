#pragma once

#include "ChatError.h"
#include "ChatStreamParser.h"
#include "Clock.h"
#include "IdleDeadline.h"
#include "ModelCredentials.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

// One streamed chat-completions request: pieces of the answer as they arrive, then one end,
// normal (no error) or failed. No retry and no wait on 429: the user reads the message and asks
// again. Lives on the thread of `network`; no callback runs after abort() or the object's end.
// Callbacks may abort it, but must drop it with deleteLater(), never delete it outright.
class ChatStream : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxTokens = 1500;

    using OnPiece = std::function<void(const QString &piece)>;
    using OnEnd = std::function<void(const std::optional<ChatError> &error)>;

    ChatStream(QNetworkAccessManager &network, Clock &clock, const ModelCredentials &credentials, const QString &modelId,
               const QJsonArray &messages, OnPiece onPiece, OnEnd onEnd, QObject *parent = nullptr);
    ~ChatStream() override;

    void start();
    void abort();

    static QJsonObject requestBody(const QString &modelId, const QJsonArray &messages);

private:
    void onMetaData();
    void onReadyRead();
    void onFinished();
    bool checkStatus(); // false once the stream has ended on its status
    void deliver(const QString &piece);
    void end(const std::optional<ChatError> &error);
    void dropReply();

    QNetworkAccessManager &m_network;
    ModelCredentials m_credentials;
    QByteArray m_body;
    OnPiece m_onPiece;
    OnEnd m_onEnd;
    QPointer<QNetworkReply> m_reply;
    ChatStreamParser m_parser;
    bool m_statusChecked = false;
    IdleDeadline m_deadline;
};
