#pragma once

#include "ModelCredentials.h"

#include <QJsonArray>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QUrl>

#include <chrono>

// The gateway's chat-completions call, as both the notes and the meeting chat make it.
class ChatCompletionEndpoint
{
public:
    // Without a byte for this long, a request has timed out.
    static constexpr std::chrono::seconds timeout{120};

    // The base URL with the path component "v1/chat/completions" appended.
    static QUrl url(const QUrl &baseURL);
    // POST target with the bearer token and a JSON content type.
    static QNetworkRequest request(const ModelCredentials &credentials);
    // The two messages of a one-shot request: the system prompt, then the user's content.
    static QJsonArray messages(const QString &systemPrompt, const QString &userContent);
    static QJsonObject message(const QString &role, const QString &content);
    // Lets go of a reply that is no longer wanted: its signals stop reaching `owner` now, and it
    // is aborted and deleted once whatever it has already queued has landed.
    static void release(QPointer<QNetworkReply> &reply, QObject *owner);
};
