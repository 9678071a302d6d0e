#include "ArchiveWriter.h"

#include "Clock.h"
#include "Log.h"
#include "MeetingMarkdown.h"
#include "Uuid.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>

namespace {

// Gives up looking for a free name after this many; the meeting then simply has no file.
constexpr int kMaxNameVariants = 99;

// The id in a file's front matter, where this archive writes it: the second line.
QString frontMatterId(const QString &absolutePath)
{
    QFile file(absolutePath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray head = file.read(64);
    static const QByteArray prefix = QByteArrayLiteral("---\nid: ");
    if (!head.startsWith(prefix) || head.size() < prefix.size() + 36)
        return {};
    const QByteArray id = head.mid(prefix.size(), 36);
    if (head.size() > prefix.size() + 36 && head.at(prefix.size() + 36) != '\n')
        return {};
    return QString::fromLatin1(id);
}

QString variant(const QString &relativePath, int n)
{
    QString base = relativePath;
    base.chop(3); // ".md"
    return base + QStringLiteral("-%1.md").arg(n);
}

} // namespace

ArchiveWriter::ArchiveWriter(const ArchivePaths &paths, Clock *clock)
    : m_paths(paths)
    , m_clock(clock)
{
}

void ArchiveWriter::archive(const ArchiveSnapshot &snapshot)
{
    ArchiveIndex index = ArchiveIndex::read(m_paths.indexFile());
    if (const std::optional<QString> error = performArchive(snapshot, index)) {
        qCInfo(lcOndel).noquote() << QStringLiteral("Archive failed for %1: %2").arg(uuidText(snapshot.id), *error);
        return;
    }
    saveIndex(index);
}

QList<QUuid> ArchiveWriter::unknownIds(const QList<QUuid> &ids) const
{
    const ArchiveIndex index = ArchiveIndex::read(m_paths.indexFile());
    QList<QUuid> unknown;
    for (const QUuid &id : ids)
        if (!index.contains(uuidText(id)))
            unknown.append(id);
    return unknown;
}

void ArchiveWriter::backfill(const QList<ArchiveSnapshot> &snapshots)
{
    ArchiveIndex index = ArchiveIndex::read(m_paths.indexFile());
    // Judged against the index as it was read: a meeting the index knows is skipped without a
    // look at its file, so a file deleted by hand stays deleted until its entry goes.
    QSet<QString> known;
    for (const ArchiveSnapshot &s : snapshots)
        if (index.contains(uuidText(s.id)))
            known.insert(uuidText(s.id));
    bool changed = false;
    for (const ArchiveSnapshot &s : snapshots) {
        if (known.contains(uuidText(s.id)))
            continue;
        if (!performArchive(s, index))
            changed = true;
    }
    if (changed)
        saveIndex(index);
}

void ArchiveWriter::remove(const QUuid &meetingId)
{
    const QString idText = uuidText(meetingId);
    ArchiveIndex index = ArchiveIndex::read(m_paths.indexFile());
    const std::optional<ArchiveIndex::Entry> entry = index.entry(idText);
    if (!entry)
        return;
    // Decided before the entry goes, so that a file shared with another meeting still counts.
    if (isOurs(entry->path, idText, index))
        QFile::remove(m_paths.absolute(entry->path));
    index.remove(idText);
    saveIndex(index);
}

std::optional<QString> ArchiveWriter::performArchive(const ArchiveSnapshot &snapshot, ArchiveIndex &index)
{
    const QString year = m_paths.yearFolder(snapshot.date);
    if (!QDir().mkpath(m_paths.absolute(year)) || !QFileInfo(m_paths.absolute(year)).isDir())
        return QStringLiteral("could not create the folder %1").arg(m_paths.absolute(year));

    const QString idText = uuidText(snapshot.id);
    const QString target = targetPath(m_paths.relativePath(snapshot.date, snapshot.title), idText, index);
    if (target.isEmpty())
        return QStringLiteral("no free file name for %1").arg(m_paths.relativePath(snapshot.date, snapshot.title));

    // A renamed or re-dated meeting leaves its old file. The old one goes first, so a failed
    // write leaves no file until the next one, and the index still names the old path.
    const std::optional<ArchiveIndex::Entry> previous = index.entry(idText);
    if (previous && previous->path != target && isOurs(previous->path, idText, index))
        QFile::remove(m_paths.absolute(previous->path));

    QSaveFile file(m_paths.absolute(target));
    const QByteArray text = MeetingMarkdown::render(snapshot).toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        return QStringLiteral("could not write %1: %2").arg(m_paths.absolute(target), file.errorString());

    index.set(idText,
              {snapshot.title, snapshot.date, MeetingMarkdown::wholeMinutes(snapshot.duration), target,
               snapshot.summary.has_value() && !snapshot.summary->isEmpty()});
    return std::nullopt;
}

QString ArchiveWriter::targetPath(const QString &computed, const QString &idText, const ArchiveIndex &index) const
{
    for (int n = 1; n <= kMaxNameVariants; ++n) {
        const QString candidate = n == 1 ? computed : variant(computed, n);
        // A path the index gives to another meeting is shared, as two meetings of one minute
        // with one title are: the later write wins.
        if (!QFileInfo::exists(m_paths.absolute(candidate)) || isOurs(candidate, idText, index))
            return candidate;
    }
    return {};
}

bool ArchiveWriter::isOurs(const QString &relativePath, const QString &idText, const ArchiveIndex &index) const
{
    const QString absolute = m_paths.absolute(relativePath);
    if (!QFileInfo(absolute).isFile())
        return false;
    const QString named = frontMatterId(absolute);
    if (named.isEmpty())
        return false;
    if (named == idText)
        return true;
    return index.idsAt(relativePath).contains(named);
}

void ArchiveWriter::saveIndex(ArchiveIndex &index)
{
    // The Markdown files stand regardless; the index comes back at the next save.
    index.write(m_paths.indexFile(), m_clock->now());
}
