#pragma once

#include "Folder.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

class OndelStore;

// The folders ("Spaces"), oldest first, each with the number of meetings it holds, and the
// edits made on them: create, rename, file a meeting, take it out again. Deleting one is the
// window's business, since it may be the page on screen.
class FolderListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    Q_PROPERTY(QStringList iconChoices READ iconChoices CONSTANT)
    // What each choice is called, for screen readers and tooltips, in the same order.
    Q_PROPERTY(QStringList iconLabels READ iconLabels CONSTANT)

public:
    enum Roles {
        IdRole = Qt::UserRole + 1,
        NameRole,    // "Untitled" for an empty name
        RawNameRole, // the name as stored
        IconRole,
        DetailRole,
        MeetingCountRole,
    };
    Q_ENUM(Roles)

    explicit FolderListModel(QObject *parent = nullptr);
    explicit FolderListModel(OndelStore &store, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    static QStringList iconChoices();
    static QStringList iconLabels();

    // A new folder from the sheet; nothing for a name of only white space. Files
    // `assignMeetingId` into it when given. Returns the new folder's id, or "".
    Q_INVOKABLE QString createFolder(const QString &name, const QString &icon, const QString &detail,
                                     const QString &assignMeetingId = QString());
    // Keeps the old name when the new one is only white space.
    Q_INVOKABLE bool renameFolder(const QString &folderId, const QString &name);
    // Files the meeting into the folder, or takes it out when it is already there.
    Q_INVOKABLE void toggleMeeting(const QString &folderId, const QString &meetingId);
    Q_INVOKABLE void removeFromFolder(const QString &meetingId);
    Q_INVOKABLE QString nameOf(const QString &folderId) const;

Q_SIGNALS:
    void countChanged();

private:
    void reload();

    QPointer<OndelStore> m_store;
    QList<Folder> m_folders;
    QList<int> m_counts;
    QTimer m_reloadSoon;
};
