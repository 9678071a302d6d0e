#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

// A model the user may chat with. The chosen one's id is kept in the `chatModel` setting.
struct ChatModel
{
    Q_GADGET
    Q_PROPERTY(QString id MEMBER id)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString character MEMBER character)

public:
    QString id;
    QString name;
    QString character;

    // Every model, "fast" (the gateway's own choice) first.
    static const QList<ChatModel> &all();
    // The model with this id; an unknown id (one dropped since it was stored) gives "fast".
    static ChatModel named(const QString &id);
    // The models a user picks from explicitly: all but "fast".
    static QList<ChatModel> choices();

    bool operator==(const ChatModel &) const = default;
};

size_t qHash(const ChatModel &model, size_t seed = 0) noexcept;
