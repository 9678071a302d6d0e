#pragma once

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class Settings;

// The entries of the chat's model picker: "Auto", a divider, then every model to pick. The
// choice lives in the chatModel setting, so every picker shows the same one.
class ChatModelMenu : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString chosenId READ chosenId NOTIFY chosenChanged)
    // A stored id no longer offered shows as "Auto", the model that then answers.
    Q_PROPERTY(QString chosenName READ chosenName NOTIFY chosenChanged)
    Q_PROPERTY(int count READ rowCount CONSTANT)

public:
    enum Roles {
        ModelIdRole = Qt::UserRole + 1,
        NameRole,
        CharacterRole,
        IsDividerRole,
        IsChosenRole,
    };
    Q_ENUM(Roles)

    explicit ChatModelMenu(QObject *parent = nullptr);
    explicit ChatModelMenu(Settings &settings, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString chosenId() const;
    QString chosenName() const;
    // The next question is answered by this model.
    Q_INVOKABLE void choose(const QString &modelId);

Q_SIGNALS:
    void chosenChanged();

private:
    struct Entry
    {
        QString id;
        QString name;
        QString character;
        bool divider = false;
    };

    void onSettingChanged();

    QPointer<Settings> m_settings;
    QList<Entry> m_entries;
    QString m_chosenId;
};
