#include "SegmentListModel.h"

#include "AppShell.h"
#include "MeetingText.h"
#include "OndelStore.h"
#include "Uuid.h"

#include <algorithm>

SegmentListModel::SegmentListModel(QObject *parent)
    : SegmentListModel(AppShell::current() ? AppShell::current()->store() : OndelStore::shared(), parent)
{
}

SegmentListModel::SegmentListModel(OndelStore &store, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(&store)
{
    connect(&store, &OndelStore::segmentAdded, this, &SegmentListModel::onSegmentAdded);
    connect(&store, &OndelStore::segmentRemoved, this, &SegmentListModel::onSegmentRemoved);
    connect(&store, &OndelStore::meetingRemoved, this, [this](const QUuid &id) {
        if (m_meetingId == id)
            reload();
    });
}

QString SegmentListModel::meetingId() const
{
    return m_meetingId ? uuidText(*m_meetingId) : QString();
}

void SegmentListModel::setMeetingId(const QString &id)
{
    const std::optional<QUuid> parsed = parseUuid(id);
    if (parsed == m_meetingId)
        return;
    m_meetingId = parsed;
    Q_EMIT meetingIdChanged();
    reload();
}

void SegmentListModel::reload()
{
    const qsizetype before = m_segments.size();
    beginResetModel();
    m_segments = m_store && m_meetingId ? m_store->segments(*m_meetingId) : QList<TranscriptSegment>();
    endResetModel();
    if (before != m_segments.size())
        Q_EMIT countChanged();
}

void SegmentListModel::onSegmentAdded(const TranscriptSegment &segment)
{
    if (!m_meetingId || segment.meetingId != m_meetingId)
        return;
    // Lines arrive almost in order; the two streams may interleave a little.
    const auto at = std::upper_bound(m_segments.begin(), m_segments.end(), segment.timestamp,
                                     [](double t, const TranscriptSegment &s) { return t < s.timestamp; });
    const int row = int(at - m_segments.begin());
    beginInsertRows({}, row, row);
    m_segments.insert(row, segment);
    endInsertRows();
    Q_EMIT countChanged();
}

void SegmentListModel::onSegmentRemoved(const QUuid &meetingId, const QUuid &segmentId)
{
    if (m_meetingId != meetingId)
        return;
    for (qsizetype i = 0; i < m_segments.size(); ++i) {
        if (m_segments.at(i).id == segmentId) {
            beginRemoveRows({}, int(i), int(i));
            m_segments.removeAt(i);
            endRemoveRows();
            Q_EMIT countChanged();
            return;
        }
    }
}

int SegmentListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_segments.size());
}

QVariant SegmentListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const TranscriptSegment &s = m_segments.at(index.row());
    switch (role) {
    case IdRole:
        return uuidText(s.id);
    case SpeakerRole: {
        const Speaker speaker = s.speaker();
        switch (speaker.kind()) {
        case Speaker::Kind::Me:
            return QStringLiteral("Me");
        case Speaker::Kind::Them:
            return QStringLiteral("Them");
        case Speaker::Kind::Other:
            return speaker.name();
        }
        return QString();
    }
    case IsMeRole:
        return s.speaker().kind() == Speaker::Kind::Me;
    case Qt::DisplayRole:
    case TextRole:
        return s.text;
    case TimestampRole:
        return s.timestamp;
    case TimeTextRole:
        return MeetingText::menuElapsed(s.timestamp);
    }
    return {};
}

QHash<int, QByteArray> SegmentListModel::roleNames() const
{
    return {{IdRole, "segmentId"}, {SpeakerRole, "speaker"},     {IsMeRole, "isMe"},
            {TextRole, "text"},    {TimestampRole, "timestamp"}, {TimeTextRole, "timeText"}};
}
