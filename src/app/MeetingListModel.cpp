#include "MeetingListModel.h"

#include "OndelStore.h"
#include "Uuid.h"

MeetingListModel::MeetingListModel(QObject *parent)
    : MeetingListModel(&OndelStore::shared(), parent)
{
}

MeetingListModel::MeetingListModel(OndelStore *store, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(store)
{
    connect(store, &OndelStore::meetingChanged, this, &MeetingListModel::reload);
    connect(store, &OndelStore::meetingRemoved, this, &MeetingListModel::reload);
    reload();
}

void MeetingListModel::reload()
{
    if (!m_store)
        return;
    const int before = int(m_meetings.size());
    beginResetModel();
    m_meetings = m_store->meetings();
    endResetModel();
    if (before != m_meetings.size())
        Q_EMIT countChanged();
}

int MeetingListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_meetings.size());
}

QVariant MeetingListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_meetings.size())
        return {};
    const Meeting &m = m_meetings.at(index.row());
    switch (role) {
    case IdRole:
        return uuidText(m.id);
    case TitleRole:
        return m.title;
    case DateRole:
        return m.date.toLocalTime();
    case DurationRole:
        return m.duration;
    case IsRecordingRole:
        return m.isRecording;
    }
    return {};
}

QHash<int, QByteArray> MeetingListModel::roleNames() const
{
    return {
        {IdRole, "meetingId"},
        {TitleRole, "title"},
        {DateRole, "date"},
        {DurationRole, "duration"},
        {IsRecordingRole, "isRecording"},
    };
}
