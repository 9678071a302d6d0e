#pragma once

// What a chat-completions server answers, for the tests of the notes library.

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

inline QByteArray completionBody(const QString &content)
{
    const QJsonObject message{{QStringLiteral("role"), QStringLiteral("assistant")}, {QStringLiteral("content"), content}};
    const QJsonArray choices{QJsonObject{{QStringLiteral("index"), 0}, {QStringLiteral("message"), message}}};
    return QJsonDocument(QJsonObject{{QStringLiteral("id"), QStringLiteral("c1")}, {QStringLiteral("choices"), choices}}).toJson();
}

inline QJsonObject requestBody(const QByteArray &body)
{
    return QJsonDocument::fromJson(body).object();
}
