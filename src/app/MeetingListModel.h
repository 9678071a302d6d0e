#pragma once

#include "Meeting.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class OndelStore;

// The store's meetings, newest first, for the window's list. Refreshes itself when the store
// announces a change.
class MeetingListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Roles {
        IdRole = Qt::UserRole + 1,
        TitleRole,
        DateRole,
        DurationRole,
        IsRecordingRole,
    };
    Q_ENUM(Roles)

    // Without a store, the process-wide one.
    explicit MeetingListModel(QObject *parent = nullptr);
    MeetingListModel(OndelStore *store, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    void reload();

    QPointer<OndelStore> m_store;
    QList<Meeting> m_meetings;
};
