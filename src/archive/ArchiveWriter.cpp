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

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Gives up looking for a free name after this many; the meeting then simply has no file.
constexpr int kMaxNameVariants = 99;

// The id in a file's front matter, where this archive writes it: the second line. An editor
// that saved the file again may have added a byte-order mark or turned the line ends into CRLF;
// the file is still the meeting's own.
QString frontMatterId(const QString &absolutePath)
{
    QFile file(absolutePath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray head = file.read(64);
    if (head.startsWith("\xEF\xBB\xBF"))
        head.remove(0, 3);
    head.replace("\r\n", "\n");
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

// Writes beside the target under a hidden name, then renames it over the target, without a
// flush of its own: the caller flushes a whole batch at once, and only then does the index name
// the files. Empty on success, else why not.
QString replaceUnflushed(const QString &target, const QByteArray &bytes)
{
    const QFileInfo info(target);
    const QByteArray partial = QFile::encodeName(info.path() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".partial"));
    const int fd = ::open(partial.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return qt_error_string(errno);
    const char *data = bytes.constData();
    qsizetype left = bytes.size();
    int error = 0;
    while (left > 0 && !error) {
        const ssize_t n = ::write(fd, data, size_t(left));
        if (n > 0) {
            data += n;
            left -= n;
        } else if (n < 0 && errno != EINTR) {
            error = errno;
        }
    }
    if (::close(fd) != 0 && !error)
        error = errno;
    if (!error && ::rename(partial.constData(), QFile::encodeName(target).constData()) != 0)
        error = errno;
    if (error) {
        ::unlink(partial.constData());
        return qt_error_string(error);
    }
    return {};
}

} // namespace

ArchiveWriter::ArchiveWriter(const ArchivePaths &paths, Clock *clock)
    : m_paths(paths)
    , m_clock(clock)
{
}

void ArchiveWriter::archive(const ArchiveSnapshot &snapshot)
{
    ArchiveIndex index = readIndex();
    if (const std::optional<QString> error = performArchive(snapshot, index)) {
        qCInfo(lcOndel).noquote() << QStringLiteral("Archive failed for %1: %2").arg(uuidText(snapshot.id), *error);
        return;
    }
    saveIndex(index);
}

QList<QUuid> ArchiveWriter::unknownIds(const QList<QUuid> &ids) const
{
    const ArchiveIndex index = readIndex();
    QList<QUuid> unknown;
    for (const QUuid &id : ids)
        if (!index.contains(uuidText(id)))
            unknown.append(id);
    return unknown;
}

void ArchiveWriter::backfill(const QList<ArchiveSnapshot> &snapshots, bool more)
{
    ArchiveIndex index = readIndex();
    // Judged against the index as it was read: a meeting the index knows is skipped without a
    // look at its file, so a file deleted by hand stays deleted until its entry goes.
    QSet<QString> known;
    for (const ArchiveSnapshot &s : snapshots)
        if (index.contains(uuidText(s.id)))
            known.insert(uuidText(s.id));
    // A flush per file cost more than writing it; one flush covers them all.
    bool changed = false;
    for (const ArchiveSnapshot &s : snapshots) {
        if (known.contains(uuidText(s.id)))
            continue;
        if (!performArchive(s, index, Durability::Deferred))
            changed = true;
    }
    if (changed)
        m_unsaved = std::move(index);
    if (!more)
        finishBackfill();
}

void ArchiveWriter::finishBackfill()
{
    if (!m_unsaved)
        return;
    ArchiveIndex index = std::move(*m_unsaved);
    saveIndex(index);
}

void ArchiveWriter::remove(const QUuid &meetingId)
{
    const QString idText = uuidText(meetingId);
    ArchiveIndex index = readIndex();
    const std::optional<ArchiveIndex::Entry> entry = index.entry(idText);
    if (!entry)
        return;
    // Decided before the entry goes, so that a file shared with another meeting still counts.
    if (isOurs(entry->path, idText, index))
        QFile::remove(m_paths.absolute(entry->path));
    index.remove(idText);
    saveIndex(index);
}

std::optional<QString> ArchiveWriter::performArchive(const ArchiveSnapshot &snapshot, ArchiveIndex &index, Durability durability)
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

    const QString absolute = m_paths.absolute(target);
    const QByteArray text = MeetingMarkdown::render(snapshot).toUtf8();
    if (durability == Durability::Deferred) {
        if (const QString why = replaceUnflushed(absolute, text); !why.isEmpty())
            return QStringLiteral("could not write %1: %2").arg(absolute, why);
        m_unflushed = true;
    } else {
        QSaveFile file(absolute);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
            return QStringLiteral("could not write %1: %2").arg(absolute, file.errorString());
    }

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

ArchiveIndex ArchiveWriter::readIndex() const
{
    return m_unsaved ? *m_unsaved : ArchiveIndex::read(m_paths.indexFile());
}

bool ArchiveWriter::syncAll() const
{
    const int fd = ::open(QFile::encodeName(m_paths.root()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::syncfs(fd) == 0;
    ::close(fd);
    return synced;
}

void ArchiveWriter::saveIndex(ArchiveIndex &index)
{
    m_unsaved.reset();
    // The index names only files that are on disk. If the flush fails, the entries are lost
    // and the files stay: the next launch's backfill writes them again.
    if (m_unflushed) {
        if (!syncAll())
            return;
        m_unflushed = false;
    }
    // The Markdown files stand regardless; the index comes back at the next save.
    index.write(m_paths.indexFile(), m_clock->now());
}
