#include "FolderListModel.h"

#include "AppShell.h"
#include "MeetingText.h"
#include "OndelStore.h"
#include "Uuid.h"

FolderListModel::FolderListModel(QObject *parent)
    : FolderListModel(AppShell::current() ? AppShell::current()->store() : OndelStore::shared(), parent)
{
}

FolderListModel::FolderListModel(OndelStore &store, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(&store)
{
    m_reloadSoon.setSingleShot(true);
    m_reloadSoon.setInterval(0);
    connect(&m_reloadSoon, &QTimer::timeout, this, &FolderListModel::reload);
    for (auto signal : {&OndelStore::meetingChanged, &OndelStore::meetingRemoved})
        connect(&store, signal, &m_reloadSoon, qOverload<>(&QTimer::start));
    connect(&store, &OndelStore::foldersChanged, this, &FolderListModel::reload);
    reload();
}

QStringList FolderListModel::iconChoices()
{
    return {QStringLiteral("folder"), QStringLiteral("tray.full"), QStringLiteral("briefcase"),
            QStringLiteral("graduationcap"), QStringLiteral("person.2"), QStringLiteral("lightbulb"),
            QStringLiteral("star"), QStringLiteral("tag"), QStringLiteral("calendar"),
            QStringLiteral("mic"), QStringLiteral("building.2"), QStringLiteral("airplane")};
}

QStringList FolderListModel::iconLabels()
{
    return {QStringLiteral("Folder"), QStringLiteral("Inbox"), QStringLiteral("Briefcase"),
            QStringLiteral("Graduation cap"), QStringLiteral("People"), QStringLiteral("Light bulb"),
            QStringLiteral("Star"), QStringLiteral("Tag"), QStringLiteral("Calendar"),
            QStringLiteral("Microphone"), QStringLiteral("Building"), QStringLiteral("Airplane")};
}

void FolderListModel::reload()
{
    m_reloadSoon.stop();
    if (!m_store)
        return;
    QList<Folder> folders = m_store->folders();
    QList<int> counts;
    counts.reserve(folders.size());
    for (const Folder &f : folders) {
        MeetingQuery inFolder;
        inFolder.folderId = f.id;
        counts.append(m_store->meetingCount(inFolder));
    }
    if (folders == m_folders && counts == m_counts)
        return;
    const qsizetype before = m_folders.size();
    beginResetModel();
    m_folders = std::move(folders);
    m_counts = std::move(counts);
    endResetModel();
    if (before != m_folders.size())
        Q_EMIT countChanged();
}

int FolderListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_folders.size());
}

QVariant FolderListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Folder &f = m_folders.at(index.row());
    switch (role) {
    case IdRole:
        return uuidText(f.id);
    case Qt::DisplayRole:
    case NameRole:
        return MeetingText::titleOrUntitled(f.name);
    case RawNameRole:
        return f.name;
    case IconRole:
        return f.icon;
    case DetailRole:
        return f.detail;
    case MeetingCountRole:
        return m_counts.at(index.row());
    }
    return {};
}

QHash<int, QByteArray> FolderListModel::roleNames() const
{
    return {{IdRole, "folderId"},  {NameRole, "name"},     {RawNameRole, "rawName"},
            {IconRole, "iconName"},    {DetailRole, "detail"}, {MeetingCountRole, "meetingCount"}};
}

QString FolderListModel::createFolder(const QString &name, const QString &icon, const QString &detail,
                                      const QString &assignMeetingId)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || !m_store)
        return QString();
    const QString chosenIcon = iconChoices().contains(icon) ? icon : iconChoices().constFirst();
    Folder folder(trimmed, chosenIcon, detail.trimmed());
    const std::optional<QUuid> meetingId = parseUuid(assignMeetingId);
    const bool saved = m_store->transaction([&] {
        if (!m_store->insert(folder))
            return false;
        if (meetingId)
            return m_store->update(*meetingId, [&](Meeting &m) { m.folderId = folder.id; });
        return true;
    });
    return saved ? uuidText(folder.id) : QString();
}

bool FolderListModel::renameFolder(const QString &folderId, const QString &name)
{
    const QString trimmed = name.trimmed();
    const std::optional<QUuid> id = parseUuid(folderId);
    if (trimmed.isEmpty() || !id || !m_store)
        return false;
    std::optional<Folder> folder = m_store->folder(*id);
    if (!folder)
        return false;
    folder->name = trimmed;
    return m_store->save(*folder);
}

void FolderListModel::toggleMeeting(const QString &folderId, const QString &meetingId)
{
    const std::optional<QUuid> folder = parseUuid(folderId);
    const std::optional<QUuid> meeting = parseUuid(meetingId);
    if (!folder || !meeting || !m_store)
        return;
    m_store->update(*meeting, [&](Meeting &m) {
        if (m.folderId == folder)
            m.folderId.reset();
        else
            m.folderId = folder;
    });
}

void FolderListModel::removeFromFolder(const QString &meetingId)
{
    const std::optional<QUuid> meeting = parseUuid(meetingId);
    if (meeting && m_store)
        m_store->update(*meeting, [](Meeting &m) { m.folderId.reset(); });
}

QString FolderListModel::nameOf(const QString &folderId) const
{
    const std::optional<QUuid> id = parseUuid(folderId);
    for (const Folder &f : m_folders) {
        if (id && f.id == *id)
            return MeetingText::titleOrUntitled(f.name);
    }
    return QString();
}
