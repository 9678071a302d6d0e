#include "OndelStore.h"

// Chat turns.

#include "StoreValues.h"

#include <QSqlQuery>

using namespace StoreValues;

namespace {

const QString kChatColumns = QStringLiteral("id, meeting_id, role_raw, text, model_id, created_at");

ChatMessage chatMessageFrom(const QSqlQuery &q)
{
    ChatMessage c;
    c.id = QUuid::fromString(q.value(0).toString());
    c.meetingId = optionalId(q.value(1));
    c.roleRaw = q.value(2).toString();
    c.text = q.value(3).toString();
    c.modelId = optionalText(q.value(4));
    c.createdAt = dateFrom(q.value(5));
    return c;
}

} // namespace

bool OndelStore::insert(const ChatMessage &c)
{
    if (!c.meetingId) {
        m_lastError = QStringLiteral("a chat turn needs a meeting");
        return false;
    }
    QSqlQuery &q = prepared(QStringLiteral("INSERT INTO chat_messages (%1) VALUES (?, ?, ?, ?, ?, ?)").arg(kChatColumns));
    q.bindValue(0, uuidText(c.id));
    q.bindValue(1, uuidText(*c.meetingId));
    q.bindValue(2, plain(c.roleRaw));
    q.bindValue(3, plain(c.text));
    q.bindValue(4, text(c.modelId));
    q.bindValue(5, millis(c.createdAt));
    if (!run(q))
        return false;
    Q_EMIT chatMessagesChanged(*c.meetingId);
    return true;
}

std::optional<QUuid> OndelStore::meetingOfChatMessage(const QUuid &messageId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT meeting_id FROM chat_messages WHERE id = ?"));
    q.bindValue(0, uuidText(messageId));
    if (!run(q) || !q.next())
        return std::nullopt;
    const std::optional<QUuid> id = optionalId(q.value(0));
    q.finish();
    return id;
}

bool OndelStore::removeChatMessage(const QUuid &messageId)
{
    const std::optional<QUuid> meetingId = meetingOfChatMessage(messageId);
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM chat_messages WHERE id = ?"));
    q.bindValue(0, uuidText(messageId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() > 0 && meetingId)
        Q_EMIT chatMessagesChanged(*meetingId);
    return true;
}

QList<ChatMessage> OndelStore::chatMessages(const QUuid &meetingId, bool *ok) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM chat_messages WHERE meeting_id = ? ORDER BY created_at, seq").arg(kChatColumns));
    q.bindValue(0, uuidText(meetingId));
    QList<ChatMessage> result;
    const bool read = run(q);
    if (ok)
        *ok = read;
    if (!read)
        return result;
    while (q.next())
        result.append(chatMessageFrom(q));
    q.finish();
    return result;
}
