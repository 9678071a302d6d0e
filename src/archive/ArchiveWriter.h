#pragma once

#include "ArchiveIndex.h"
#include "ArchivePaths.h"
#include "ArchiveSnapshot.h"

#include <QList>
#include <QUuid>

#include <optional>

class Clock;

// The archive's file work. Lives on the archiver's worker thread and is used only there, one
// operation at a time. The store is the master copy: nothing here ever fails loudly. A failed
// folder or file write keeps the previous state and is logged once; a failure to remove an old
// file or to save the index is swallowed.
//
// Files are only ever removed or overwritten when Ondel wrote them: the file's front matter
// must name the meeting being written, or a meeting that the index places at that path. A
// stranger's file at a meeting's computed path makes the meeting take the next free name.
class ArchiveWriter
{
public:
    ArchiveWriter(const ArchivePaths &paths, Clock *clock);

    // Writes one meeting's file and its index entry; a failure is logged.
    void archive(const ArchiveSnapshot &snapshot);
    // Of `ids`, those the index does not know, in the given order.
    QList<QUuid> unknownIds(const QList<QUuid> &ids) const;
    // Writes each snapshot the index does not know, silently; saves the index once at the end.
    void backfill(const QList<ArchiveSnapshot> &snapshots);
    // Takes out a meeting's file and entry. Without an entry, nothing is touched.
    void remove(const QUuid &meetingId);

    const ArchivePaths &paths() const { return m_paths; }

private:
    // An error description, or nothing on success. Updates `index` only on success.
    std::optional<QString> performArchive(const ArchiveSnapshot &snapshot, ArchiveIndex &index);
    QString targetPath(const QString &computed, const QString &idText, const ArchiveIndex &index) const;
    bool isOurs(const QString &relativePath, const QString &idText, const ArchiveIndex &index) const;
    void saveIndex(ArchiveIndex &index);

    ArchivePaths m_paths;
    Clock *m_clock;
};
