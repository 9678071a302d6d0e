#include "MeetingListModel.h"

#include "AppShell.h"
#include "Clock.h"
#include "LineSearchIndex.h"
#include "MeetingDateGroup.h"
#include "MeetingSearch.h"
#include "MeetingText.h"
#include "OndelStore.h"
#include "Uuid.h"


MeetingListModel::MeetingListModel(QObject *parent)
    : MeetingListModel(AppShell::current() ? AppShell::current()->store() : OndelStore::shared(),
                       AppShell::current() ? AppShell::current()->clock() : Clock::system(), parent)
{
}

MeetingListModel::MeetingListModel(OndelStore &store, Clock &clock, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(&store)
    , m_clock(clock)
{
    // A recording changes its meeting with every line; one reload per turn of the event loop.
    m_reloadSoon.setSingleShot(true);
    m_reloadSoon.setInterval(0);
    connect(&m_reloadSoon, &QTimer::timeout, this, &MeetingListModel::reload);
    connect(&store, &OndelStore::meetingChanged, this, &MeetingListModel::onStoreChanged);
    connect(&store, &OndelStore::meetingRemoved, this, &MeetingListModel::onStoreChanged);
    connect(&store, &OndelStore::foldersChanged, this, &MeetingListModel::onStoreChanged);
    // New lines matter only to a search.
    connect(&store, &OndelStore::segmentAdded, this, [this] {
        m_searchCache.reset();
        if (!m_searchText.isEmpty())
            scheduleReload();
    });
    reload();
    scheduleMidnight();
}

MeetingListModel::~MeetingListModel()
{
    m_clock.cancel(m_midnight);
}

void MeetingListModel::scheduleMidnight()
{
    // A second past the user's midnight, so that the new day has surely begun.
    const QDateTime now = m_clock.now().toLocalTime();
    const QDateTime next = QDateTime(now.date().addDays(1), QTime(0, 0)).addSecs(1);
    const qint64 wait = qMax<qint64>(1000, now.msecsTo(next));
    m_midnight = m_clock.schedule(std::chrono::milliseconds(wait), this, [this] {
        reload();
        scheduleMidnight();
    });
}

void MeetingListModel::setSearchText(const QString &text)
{
    if (text == m_searchText)
        return;
    m_searchText = text;
    Q_EMIT searchTextChanged();
    reload();
}

void MeetingListModel::setFolderId(const QString &id)
{
    if (id == m_folderId)
        return;
    m_folderId = id;
    Q_EMIT folderIdChanged();
    reload();
}

void MeetingListModel::scheduleReload()
{
    m_reloadSoon.start();
}

void MeetingListModel::onStoreChanged()
{
    m_all.reset();
    m_searchCache.reset();
    scheduleReload();
}

QList<Meeting> MeetingListModel::searched()
{
    if (!m_all)
        m_all = m_store->meetings();
    const QString needle = m_searchText.toLower();
    if (needle.isEmpty())
        return *m_all;
    // Typing on only narrows what the last query found.
    const bool narrowing = m_searchCache && needle.contains(m_searchCache->needle);
    QList<Meeting> candidates = *m_all;
    if (narrowing)
        candidates.removeIf([&](const Meeting &m) { return !m_searchCache->ids.contains(m.id); });
    LineSearchIndex &index = LineSearchIndex::of(*m_store);
    QList<Meeting> found = MeetingSearch::filter(candidates, m_searchText, [&index](const QString &text, const QSet<QUuid> &ids) {
        return index.meetingsWithLineContaining(text, ids);
    });
    SearchCache cache{needle, {}};
    cache.ids.reserve(found.size());
    for (const Meeting &m : found)
        cache.ids.insert(m.id);
    m_searchCache = std::move(cache);
    return found;
}

void MeetingListModel::reload()
{
    m_reloadSoon.stop();
    if (!m_store)
        return;
    QList<Meeting> meetings;
    const std::optional<QUuid> folder = m_folderId.isEmpty() ? std::nullopt : parseUuid(m_folderId);
    // An id that names no folder shows nothing rather than everything.
    if (m_folderId.isEmpty() || folder) {
        meetings = searched();
        if (folder)
            meetings.removeIf([&](const Meeting &m) { return m.folderId != folder; });
    }

    QHash<QUuid, QString> folderNames;
    for (const Folder &f : m_store->folders())
        folderNames.insert(f.id, MeetingText::titleOrUntitled(f.name));

    const QDateTime now = m_clock.now();
    QList<QString> groups;
    groups.reserve(meetings.size());
    for (const Meeting &m : meetings)
        groups.append(meetingDateGroupTitle(m.date, now));

    const qsizetype before = m_meetings.size();
    beginResetModel();
    m_meetings = std::move(meetings);
    m_groups = std::move(groups);
    m_folderNames = std::move(folderNames);
    endResetModel();
    if (before != m_meetings.size() || !m_searchText.isEmpty())
        Q_EMIT countChanged();
}

int MeetingListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_meetings.size());
}

QVariant MeetingListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Meeting &m = m_meetings.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case TitleRole:
        return MeetingText::titleOrUntitled(m.title);
    case IdRole:
        return uuidText(m.id);
    case DateRole:
        return m.date;
    case TimeTextRole:
        return MeetingText::timeOfDay(m.date);
    case DateTextRole:
        return MeetingText::dateAndTime(m.date);
    case DurationRole:
        return m.duration;
    case RowDurationTextRole:
        return m.duration > 0 ? MeetingText::rowDuration(m.duration) : QString();
    case CardDurationTextRole:
        return m.duration > 0 ? MeetingText::cardDuration(m.duration) : QString();
    case IsRecordingRole:
        return m.isRecording;
    case HasSummaryRole:
        return m.summary.has_value() && !m.summary->isEmpty();
    case FolderIdRole:
        return m.folderId ? uuidText(*m.folderId) : QString();
    case FolderNameRole:
        return m.folderId ? m_folderNames.value(*m.folderId) : QString();
    case GroupRole:
        return m_groups.at(index.row());
    }
    return {};
}

QHash<int, QByteArray> MeetingListModel::roleNames() const
{
    return {
        {IdRole, "meetingId"},
        {TitleRole, "title"},
        {DateRole, "date"},
        {TimeTextRole, "timeText"},
        {DateTextRole, "dateText"},
        {DurationRole, "duration"},
        {RowDurationTextRole, "rowDurationText"},
        {CardDurationTextRole, "cardDurationText"},
        {IsRecordingRole, "isRecording"},
        {HasSummaryRole, "hasSummary"},
        {FolderIdRole, "folderId"},
        {FolderNameRole, "folderName"},
        {GroupRole, "group"},
    };
}

QStringList MeetingListModel::ids() const
{
    QStringList out;
    out.reserve(m_meetings.size());
    for (const Meeting &m : m_meetings)
        out.append(uuidText(m.id));
    return out;
}

int MeetingListModel::indexOf(const QString &meetingId) const
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    if (!id)
        return -1;
    for (qsizetype i = 0; i < m_meetings.size(); ++i) {
        if (m_meetings.at(i).id == *id)
            return int(i);
    }
    return -1;
}
