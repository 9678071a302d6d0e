#include "ChatStream.h"

#include "ChatCompletionEndpoint.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>

ChatStream::ChatStream(QNetworkAccessManager &network, Clock &clock, const ModelCredentials &credentials, const QString &modelId,
                       const QJsonArray &messages, OnPiece onPiece, OnEnd onEnd, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_credentials(credentials)
    , m_body(QJsonDocument(requestBody(modelId, messages)).toJson(QJsonDocument::Compact))
    , m_onPiece(std::move(onPiece))
    , m_onEnd(std::move(onEnd))
    , m_deadline(clock, ChatCompletionEndpoint::timeout, this, [this] {
        dropReply();
        end(ChatError::of(ChatError::Kind::TimedOut));
    })
{
}

ChatStream::~ChatStream()
{
    abort();
}

QJsonObject ChatStream::requestBody(const QString &modelId, const QJsonArray &messages)
{
    return {
        {QStringLiteral("model"), modelId},
        {QStringLiteral("stream"), true},
        {QStringLiteral("temperature"), 0.3},
        {QStringLiteral("max_tokens"), maxTokens},
        {QStringLiteral("messages"), messages},
    };
}

void ChatStream::start()
{
    QNetworkRequest request = ChatCompletionEndpoint::request(m_credentials);
    request.setRawHeader("Cache-Control", "no-cache");
    m_reply = m_network.post(request, m_body);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &ChatStream::onMetaData);
    connect(m_reply, &QNetworkReply::readyRead, this, &ChatStream::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &ChatStream::onFinished);
    m_deadline.start();
}

void ChatStream::abort()
{
    m_onPiece = nullptr;
    m_onEnd = nullptr;
    m_deadline.stop();
    dropReply();
}

void ChatStream::dropReply()
{
    ChatCompletionEndpoint::release(m_reply, this);
}

bool ChatStream::checkStatus()
{
    if (m_statusChecked)
        return true;
    const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        return true; // not known yet
    m_statusChecked = true;
    if (status.toInt() == 200)
        return true;
    // The body of a failed answer is not read.
    dropReply();
    end(ChatError::ofStatus(status.toInt()));
    return false;
}

void ChatStream::onMetaData()
{
    m_deadline.touch();
    checkStatus();
}

void ChatStream::onReadyRead()
{
    m_deadline.touch();
    if (!m_reply || !checkStatus())
        return;
    const QByteArray bytes = m_reply->readAll();
    if (m_parser.feed(bytes, [this](const QString &piece) { deliver(piece); })) {
        dropReply();
        end(std::nullopt);
    }
}

void ChatStream::onFinished()
{
    QNetworkReply *reply = m_reply.data();
    if (!reply)
        return;
    const QNetworkReply::NetworkError error = reply->error();
    const bool knownStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied) {
        const QString description = reply->errorString();
        dropReply();
        end(ChatError::of(ChatError::Kind::Transport, description));
        return;
    }
    if (!knownStatus) {
        dropReply();
        end(ChatError::of(ChatError::Kind::BadResponse));
        return;
    }
    if (!checkStatus())
        return;
    onReadyRead(); // whatever is left
    if (!m_reply)
        return;
    m_parser.finish([this](const QString &piece) { deliver(piece); });
    dropReply();
    end(std::nullopt); // also without "[DONE]"
}

void ChatStream::deliver(const QString &piece)
{
    // A copy: the receiver may abort this stream, and with it the callback, while it runs.
    if (const OnPiece onPiece = m_onPiece)
        onPiece(piece);
}

void ChatStream::end(const std::optional<ChatError> &error)
{
    m_deadline.stop();
    m_onPiece = nullptr;
    if (OnEnd onEnd = std::exchange(m_onEnd, nullptr))
        onEnd(error);
}
