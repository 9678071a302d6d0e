#include "OndelStore.h"

// Folders.

#include "StoreValues.h"

#include <QSqlQuery>

using namespace StoreValues;

namespace {

const QString kFolderColumns = QStringLiteral("id, name, icon, detail, created_at");

Folder folderFrom(const QSqlQuery &q)
{
    Folder f;
    f.id = QUuid::fromString(q.value(0).toString());
    f.name = q.value(1).toString();
    f.icon = q.value(2).toString();
    f.detail = q.value(3).toString();
    f.createdAt = dateFrom(q.value(4));
    return f;
}

} // namespace

bool OndelStore::insert(const Folder &f)
{
    QSqlQuery &q = prepared(QStringLiteral("INSERT INTO folders (%1) VALUES (?, ?, ?, ?, ?)").arg(kFolderColumns));
    q.bindValue(0, uuidText(f.id));
    q.bindValue(1, plain(f.name));
    q.bindValue(2, plain(f.icon));
    q.bindValue(3, plain(f.detail));
    q.bindValue(4, millis(f.createdAt));
    if (!run(q))
        return false;
    Q_EMIT foldersChanged();
    return true;
}

bool OndelStore::save(const Folder &f)
{
    QSqlQuery &q = prepared(QStringLiteral("UPDATE folders SET name = ?, icon = ?, detail = ?, created_at = ? WHERE id = ?"));
    q.bindValue(0, plain(f.name));
    q.bindValue(1, plain(f.icon));
    q.bindValue(2, plain(f.detail));
    q.bindValue(3, millis(f.createdAt));
    q.bindValue(4, uuidText(f.id));
    if (!run(q))
        return false;
    if (q.numRowsAffected() == 0) {
        m_lastError = QStringLiteral("no such folder");
        return false;
    }
    Q_EMIT foldersChanged();
    return true;
}

bool OndelStore::removeFolder(const QUuid &folderId)
{
    // Which meetings lose their folder, so that their views refresh too.
    QList<QUuid> members;
    {
        QSqlQuery &q = prepared(QStringLiteral("SELECT id FROM meetings WHERE folder_id = ?"));
        q.bindValue(0, uuidText(folderId));
        if (!run(q))
            return false;
        while (q.next())
            members.append(QUuid::fromString(q.value(0).toString()));
        q.finish();
    }
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM folders WHERE id = ?"));
    q.bindValue(0, uuidText(folderId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() == 0)
        return true;
    Q_EMIT foldersChanged();
    for (const QUuid &id : std::as_const(members))
        Q_EMIT meetingChanged(id);
    return true;
}

std::optional<Folder> OndelStore::folder(const QUuid &folderId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM folders WHERE id = ?").arg(kFolderColumns));
    q.bindValue(0, uuidText(folderId));
    if (!run(q) || !q.next())
        return std::nullopt;
    Folder f = folderFrom(q);
    q.finish();
    return f;
}

QList<Folder> OndelStore::folders() const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM folders ORDER BY created_at, rowid").arg(kFolderColumns));
    QList<Folder> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(folderFrom(q));
    q.finish();
    return result;
}
