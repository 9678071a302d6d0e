#pragma once

#include "ArchiveIndex.h"
#include "ArchivePaths.h"
#include "ArchiveSnapshot.h"

#include <QList>
#include <QUuid>

#include <optional>

class Clock;

// The archive's file work. Lives on the archiver's worker thread and is used only there, one
// operation at a time. The index is read afresh by each operation, except between the batches
// of one backfill. The store is the master copy: nothing here ever fails loudly. A failed
// folder or file write keeps the previous state and is logged once; a failure to remove an old
// file or to save the index is swallowed.
//
// Files are only ever removed or overwritten when Ondel wrote them: the file's front matter
// must name the meeting being written, or a meeting that the index places at that path (also
// after an editor saved it with a byte-order mark or CRLF line ends). A
// stranger's file at a meeting's computed path makes the meeting take the next free name.
class ArchiveWriter
{
public:
    ArchiveWriter(const ArchivePaths &paths, Clock *clock);

    // Writes one meeting's file and its index entry; a failure is logged.
    void archive(const ArchiveSnapshot &snapshot);
    // Of `ids`, those the index does not know, in the given order.
    QList<QUuid> unknownIds(const QList<QUuid> &ids) const;
    // Writes each snapshot the index does not know, silently. The files are made durable
    // together, with one flush of the file system, before the index that names them is saved.
    // With `more`, another batch follows, and the index is kept here until the last one: a
    // large archive's index is not written again for every batch.
    void backfill(const QList<ArchiveSnapshot> &snapshots, bool more = false);
    // Saves the index that a backfill kept back, if any.
    void finishBackfill();
    // Takes out a meeting's file and entry. Without an entry, nothing is touched.
    void remove(const QUuid &meetingId);

    const ArchivePaths &paths() const { return m_paths; }

private:
    enum class Durability {
        EachFile, // flushed before it replaces the old one
        Deferred, // replaced atomically, flushed later by syncAll()
    };

    // An error description, or nothing on success. Updates `index` only on success.
    std::optional<QString> performArchive(const ArchiveSnapshot &snapshot, ArchiveIndex &index,
                                          Durability durability = Durability::EachFile);
    // The index as the last backfill left it, else as the file holds it.
    ArchiveIndex readIndex() const;
    // Flushes everything written to the archive's file system so far.
    bool syncAll() const;
    QString targetPath(const QString &computed, const QString &idText, const ArchiveIndex &index) const;
    bool isOurs(const QString &relativePath, const QString &idText, const ArchiveIndex &index) const;
    void saveIndex(ArchiveIndex &index);

    ArchivePaths m_paths;
    Clock *m_clock;
    std::optional<ArchiveIndex> m_unsaved; // entries a backfill has written files for
    bool m_unflushed = false; // files written since the last flush
};
