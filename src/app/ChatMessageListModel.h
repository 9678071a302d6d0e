#pragma once

#include "ChatMessage.h"

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <optional>

class OndelStore;

// One meeting's chat turns, oldest first. A new turn is added at the end without re-laying out
// the conversation; any other change reloads it.
class ChatMessageListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString meetingId READ meetingId WRITE setMeetingId NOTIFY meetingIdChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Roles {
        IdRole = Qt::UserRole + 1,
        IsUserRole, // false for the assistant's answers
        TextRole,
    };
    Q_ENUM(Roles)

    explicit ChatMessageListModel(QObject *parent = nullptr);
    explicit ChatMessageListModel(OndelStore &store, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString meetingId() const;
    void setMeetingId(const QString &id);

Q_SIGNALS:
    void meetingIdChanged();
    void countChanged();

private:
    QList<ChatMessage> fetch() const;
    void reload();
    void onChanged(const QUuid &meetingId);

    QPointer<OndelStore> m_store;
    std::optional<QUuid> m_meetingId;
    QList<ChatMessage> m_messages;
};
