#include "ChatMessage.h"

QString chatRoleRawValue(ChatRole role)
{
    return role == ChatRole::Assistant ? QStringLiteral("assistant") : QStringLiteral("user");
}

std::optional<ChatRole> chatRoleFromRaw(const QString &raw)
{
    if (raw == QLatin1String("user"))
        return ChatRole::User;
    if (raw == QLatin1String("assistant"))
        return ChatRole::Assistant;
    return std::nullopt;
}
