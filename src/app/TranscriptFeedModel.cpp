#include "TranscriptFeedModel.h"

#include "AppShell.h"
#include "OndelStore.h"
#include "Uuid.h"

#include <algorithm>

TranscriptFeedModel::TranscriptFeedModel(QObject *parent)
    : TranscriptFeedModel(AppShell::current() ? AppShell::current()->store() : OndelStore::shared(), parent)
{
}

TranscriptFeedModel::TranscriptFeedModel(OndelStore &store, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(&store)
{
    connect(&store, &OndelStore::segmentAdded, this, &TranscriptFeedModel::onSegmentAdded);
    connect(&store, &OndelStore::segmentRemoved, this, &TranscriptFeedModel::onSegmentRemoved);
    connect(&store, &OndelStore::meetingRemoved, this, [this](const QUuid &id) {
        if (m_meetingId == id)
            clear();
    });
}

QString TranscriptFeedModel::meetingId() const
{
    return m_meetingId ? uuidText(*m_meetingId) : QString();
}

void TranscriptFeedModel::setMeetingId(const QString &id)
{
    const std::optional<QUuid> parsed = parseUuid(id);
    if (parsed == m_meetingId)
        return;
    m_meetingId = parsed;
    Q_EMIT meetingIdChanged();
    reload();
}

bool TranscriptFeedModel::Group::sameRow(const Group &other) const
{
    return id == other.id && speaker == other.speaker && size == other.size && endsAt == other.endsAt
        && text == other.text;
}

TranscriptFeedModel::Line TranscriptFeedModel::lineFrom(const TranscriptSegment &segment)
{
    return Line{segment.id, segment.text, segment.speaker(), segment.timestamp};
}

bool TranscriptFeedModel::joins(const Group &group, const Line &line)
{
    // Timestamps are sums of tenths: 2.2 - 0.7 comes out a hair above 1.5.
    return line.speaker == group.speaker && line.timestamp - group.endsAt <= joinGap + 1e-9;
}

void TranscriptFeedModel::extend(Group &group, const Line &line) const
{
    group.text += QLatin1Char(' ');
    group.text += line.text;
    group.endsAt = line.timestamp;
    ++group.size;
}

TranscriptFeedModel::Group TranscriptFeedModel::startGroup(int lineIndex) const
{
    const Line &line = m_lines.at(lineIndex);
    return Group{line.id, line.speaker, lineIndex, 1, line.timestamp, line.text};
}

void TranscriptFeedModel::reload()
{
    const int before = int(m_groups.size());
    beginResetModel();
    m_lines.clear();
    m_groups.clear();
    if (m_store && m_meetingId) {
        const QList<TranscriptSegment> segments = m_store->segments(*m_meetingId);
        m_lines.reserve(segments.size());
        for (const TranscriptSegment &s : segments)
            m_lines.append(lineFrom(s));
        // The store's order already is the stable one; this only guards the contract.
        std::stable_sort(m_lines.begin(), m_lines.end(),
                         [](const Line &a, const Line &b) { return a.timestamp < b.timestamp; });
        for (int i = 0; i < m_lines.size(); ++i) {
            if (!m_groups.isEmpty() && joins(m_groups.last(), m_lines.at(i)))
                extend(m_groups.last(), m_lines.at(i));
            else
                m_groups.append(startGroup(i));
        }
    }
    endResetModel();
    if (before != m_groups.size())
        Q_EMIT countChanged();
    setLineCount(int(m_lines.size()));
}

void TranscriptFeedModel::clear()
{
    if (!m_groups.isEmpty()) {
        beginRemoveRows({}, 0, int(m_groups.size()) - 1);
        m_groups.clear();
        endRemoveRows();
        Q_EMIT countChanged();
    }
    m_lines.clear();
    setLineCount(0);
}

void TranscriptFeedModel::onSegmentAdded(const TranscriptSegment &segment)
{
    if (!m_meetingId || segment.meetingId != m_meetingId)
        return;
    // After every line of an equal timestamp: the order in which they were stored.
    const auto at = std::upper_bound(m_lines.cbegin(), m_lines.cend(), segment.timestamp,
                                     [](double t, const Line &l) { return t < l.timestamp; });
    const int index = int(at - m_lines.cbegin());
    m_lines.insert(index, lineFrom(segment));
    regroup(index, 1);
    setLineCount(int(m_lines.size()));
}

void TranscriptFeedModel::onSegmentRemoved(const QUuid &meetingId, const QUuid &segmentId)
{
    if (m_meetingId != meetingId)
        return;
    const auto it = std::find_if(m_lines.cbegin(), m_lines.cend(), [&](const Line &l) { return l.id == segmentId; });
    if (it == m_lines.cend())
        return;
    const int index = int(it - m_lines.cbegin());
    m_lines.removeAt(index);
    regroup(index, -1);
    // Published a turn later: when this is the first half of a replacement, the count has
    // come back by then.
    if (!m_lineCountQueued) {
        m_lineCountQueued = true;
        QMetaObject::invokeMethod(this, &TranscriptFeedModel::publishLineCount, Qt::QueuedConnection);
    }
}

int TranscriptFeedModel::groupOfLine(int lineIndex) const
{
    const auto it = std::upper_bound(m_groups.cbegin(), m_groups.cend(), lineIndex,
                                     [](int i, const Group &g) { return i < g.first; });
    return int(it - m_groups.cbegin()) - 1;
}

void TranscriptFeedModel::regroup(int at, int delta)
{
    // The usual case, a line at the end, touches only the last bubble and costs the same
    // however long it is.
    if (delta > 0 && at == m_lines.size() - 1 && !m_groups.isEmpty() && joins(m_groups.last(), m_lines.at(at))) {
        extend(m_groups.last(), m_lines.at(at));
        const QModelIndex last = index(int(m_groups.size()) - 1);
        Q_EMIT dataChanged(last, last);
        return;
    }
    // Grouping only looks back, so every group before the one holding the line ahead of the
    // change stays as it is.
    const int firstGroup = at > 0 ? groupOfLine(at - 1) : 0;
    const int firstLine = firstGroup < m_groups.size() ? m_groups.at(firstGroup).first : 0;
    // Where an old group's first line sits now; -1 for the removed line.
    const auto renumbered = [at, delta](int first) {
        if (first < at)
            return first;
        if (delta > 0)
            return first + 1;
        return first == at ? -1 : first - 1;
    };

    QList<Group> fresh;
    int resume = int(m_groups.size()); // the first old group kept as it was
    int old = firstGroup;
    for (int i = firstLine; i < m_lines.size(); ++i) {
        const Line &line = m_lines.at(i);
        if (!fresh.isEmpty() && joins(fresh.last(), line)) {
            extend(fresh.last(), line);
            continue;
        }
        // Past the change, a group that starts on the same line as before goes on as before.
        if (i > at || (delta < 0 && i == at)) {
            while (old < m_groups.size() && renumbered(m_groups.at(old).first) < i)
                ++old;
            if (old < m_groups.size() && renumbered(m_groups.at(old).first) == i) {
                resume = old;
                break;
            }
        }
        fresh.append(startGroup(i));
    }
    for (int g = resume; g < m_groups.size(); ++g)
        m_groups[g].first += delta;

    const int oldCount = resume - firstGroup;
    const int newCount = int(fresh.size());
    const int common = std::min(oldCount, newCount);
    int changedFrom = -1;
    for (int k = 0; k <= common; ++k) {
        const int row = firstGroup + k;
        const bool changed = k < common && !m_groups.at(row).sameRow(fresh.at(k));
        if (k < common)
            m_groups[row] = fresh.at(k);
        if (changed && changedFrom < 0)
            changedFrom = row;
        if (!changed && changedFrom >= 0) {
            Q_EMIT dataChanged(index(changedFrom), index(row - 1));
            changedFrom = -1;
        }
    }
    if (newCount > oldCount) {
        beginInsertRows({}, firstGroup + common, firstGroup + newCount - 1);
        m_groups.insert(firstGroup + common, newCount - oldCount, Group{});
        std::copy(fresh.cbegin() + common, fresh.cend(), m_groups.begin() + firstGroup + common);
        endInsertRows();
        Q_EMIT countChanged();
    } else if (oldCount > newCount) {
        beginRemoveRows({}, firstGroup + common, firstGroup + oldCount - 1);
        m_groups.remove(firstGroup + common, oldCount - newCount);
        endRemoveRows();
        Q_EMIT countChanged();
    }
}

void TranscriptFeedModel::setLineCount(int value)
{
    if (m_lineCount == value)
        return;
    m_lineCount = value;
    Q_EMIT lineCountChanged();
}

void TranscriptFeedModel::publishLineCount()
{
    m_lineCountQueued = false;
    setLineCount(int(m_lines.size()));
}

int TranscriptFeedModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_groups.size());
}

QVariant TranscriptFeedModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Group &g = m_groups.at(index.row());
    switch (role) {
    case GroupIdRole:
        return uuidText(g.id);
    case IsMeRole:
        return g.speaker.kind() == Speaker::Kind::Me;
    case Qt::DisplayRole:
    case TextRole:
        return g.text;
    case EndsAtRole:
        return g.endsAt;
    case LineCountRole:
        return g.size;
    }
    return {};
}

QHash<int, QByteArray> TranscriptFeedModel::roleNames() const
{
    return {{GroupIdRole, "groupId"}, {IsMeRole, "isMe"}, {TextRole, "text"}, {EndsAtRole, "endsAt"},
            {LineCountRole, "lineCount"}};
}
