#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

enum class ChatRole { User, Assistant };

QString chatRoleRawValue(ChatRole role);
std::optional<ChatRole> chatRoleFromRaw(const QString &raw);

// One turn of a conversation about a meeting.
struct ChatMessage
{
    ChatMessage() = default;
    ChatMessage(ChatRole role, const QString &text, const std::optional<QString> &modelId)
        : roleRaw(chatRoleRawValue(role))
        , text(text)
        , modelId(modelId)
    {
    }

    QUuid id = QUuid::createUuid();
    QString roleRaw = QStringLiteral("user");
    QString text;
    std::optional<QString> modelId;
    QDateTime createdAt = QDateTime::currentDateTimeUtc();
    std::optional<QUuid> meetingId;

    bool operator==(const ChatMessage &) const = default;
};
