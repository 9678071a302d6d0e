#include "ChatMessageListModel.h"

#include "AppShell.h"
#include "OndelStore.h"
#include "Uuid.h"

#include <algorithm>

ChatMessageListModel::ChatMessageListModel(QObject *parent)
    : ChatMessageListModel(AppShell::current() ? AppShell::current()->store() : OndelStore::shared(), parent)
{
}

ChatMessageListModel::ChatMessageListModel(OndelStore &store, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(&store)
{
    connect(&store, &OndelStore::chatMessagesChanged, this, &ChatMessageListModel::onChanged);
    connect(&store, &OndelStore::meetingRemoved, this, &ChatMessageListModel::onChanged);
}

QString ChatMessageListModel::meetingId() const
{
    return m_meetingId ? uuidText(*m_meetingId) : QString();
}

void ChatMessageListModel::setMeetingId(const QString &id)
{
    const std::optional<QUuid> parsed = parseUuid(id);
    if (parsed == m_meetingId)
        return;
    m_meetingId = parsed;
    Q_EMIT meetingIdChanged();
    reload();
}

QList<ChatMessage> ChatMessageListModel::fetch() const
{
    QList<ChatMessage> messages = m_store && m_meetingId ? m_store->chatMessages(*m_meetingId) : QList<ChatMessage>();
    std::stable_sort(messages.begin(), messages.end(),
                     [](const ChatMessage &a, const ChatMessage &b) { return a.createdAt < b.createdAt; });
    return messages;
}

void ChatMessageListModel::reload()
{
    const qsizetype before = m_messages.size();
    beginResetModel();
    m_messages = fetch();
    endResetModel();
    if (before != m_messages.size())
        Q_EMIT countChanged();
}

void ChatMessageListModel::onChanged(const QUuid &meetingId)
{
    if (m_meetingId != meetingId)
        return;
    QList<ChatMessage> fresh = fetch();
    const qsizetype old = m_messages.size();
    if (fresh.size() < old || !std::equal(m_messages.cbegin(), m_messages.cend(), fresh.cbegin())) {
        beginResetModel();
        m_messages = std::move(fresh);
        endResetModel();
        if (old != m_messages.size())
            Q_EMIT countChanged();
        return;
    }
    if (fresh.size() == old)
        return;
    beginInsertRows({}, int(old), int(fresh.size()) - 1);
    m_messages = std::move(fresh);
    endInsertRows();
    Q_EMIT countChanged();
}

int ChatMessageListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_messages.size());
}

QVariant ChatMessageListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const ChatMessage &m = m_messages.at(index.row());
    switch (role) {
    case IdRole:
        return uuidText(m.id);
    case IsUserRole:
        return chatRoleFromRaw(m.roleRaw) != ChatRole::Assistant;
    case Qt::DisplayRole:
    case TextRole:
        return m.text;
    }
    return {};
}

QHash<int, QByteArray> ChatMessageListModel::roleNames() const
{
    return {{IdRole, "messageId"}, {IsUserRole, "isUser"}, {TextRole, "text"}};
}
