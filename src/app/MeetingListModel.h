#pragma once

#include "Meeting.h"

#include <QAbstractListModel>
#include <QHash>
#include <QSet>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

class Clock;
class OndelStore;

// Meetings, newest first, for the sidebar and the home page: narrowed by the sidebar's search
// or to one folder, each with its date group ("Today", ...) as the section. Follows the store's
// change signals, several changes coalesced into one reload, and the clock: at midnight
// "Today" becomes "Yesterday".
class MeetingListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(QString folderId READ folderId WRITE setFolderId NOTIFY folderIdChanged)
    Q_PROPERTY(bool noSearchResults READ noSearchResults NOTIFY countChanged)

public:
    enum Roles {
        IdRole = Qt::UserRole + 1,
        TitleRole,        // "Untitled" for an empty title
        DateRole,
        TimeTextRole,     // the time of day, for a row under its date heading
        DateTextRole,     // date and time, for a card
        DurationRole,
        RowDurationTextRole,  // "" for no length
        CardDurationTextRole, // "" for no length
        IsRecordingRole,
        HasSummaryRole,
        FolderIdRole,
        FolderNameRole,
        GroupRole,
    };
    Q_ENUM(Roles)

    // Without arguments: the application's store and clock.
    explicit MeetingListModel(QObject *parent = nullptr);
    MeetingListModel(OndelStore &store, Clock &clock, QObject *parent = nullptr);
    ~MeetingListModel() override;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    QString folderId() const { return m_folderId; }
    void setFolderId(const QString &id);
    bool noSearchResults() const { return !m_searchText.isEmpty() && m_meetings.isEmpty(); }

    // The meeting ids in list order, for tests and the selection.
    Q_INVOKABLE QStringList ids() const;
    Q_INVOKABLE int indexOf(const QString &meetingId) const;

Q_SIGNALS:
    void countChanged();
    void searchTextChanged();
    void folderIdChanged();

private:
    void reload();
    void scheduleReload();
    void scheduleMidnight();
    void onStoreChanged();
    QList<Meeting> searched();

    // The last search's query and the meetings it found: typing on only narrows them, until
    // the store changes.
    struct SearchCache
    {
        QString needle;
        QSet<QUuid> ids;
    };

    QPointer<OndelStore> m_store;
    Clock &m_clock;
    quint64 m_midnight = 0; // the clock's timer of the next regrouping
    QString m_searchText;
    QString m_folderId;
    QList<Meeting> m_meetings;
    QList<QString> m_groups;
    QHash<QUuid, QString> m_folderNames;
    QTimer m_reloadSoon;
    std::optional<SearchCache> m_searchCache;
    std::optional<QList<Meeting>> m_all; // every meeting, newest first, until the store changes
};
