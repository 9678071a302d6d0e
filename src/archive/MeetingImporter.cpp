#include "MeetingImporter.h"

#include "Clock.h"
#include "Log.h"
#include "MeetingFileParser.h"
#include "OndelStore.h"
#include "TimeOrderedIds.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStringDecoder>

#include <future>

namespace {

// No meeting's file comes near this; anything larger is not one, and is not read into memory.
constexpr qint64 kMaxFileBytes = 64 * 1024 * 1024;
constexpr qsizetype kFilesPerTransaction = 250;

std::optional<QString> readUtf8(const QString &path)
{
    QFile file(path);
    if (file.size() > kMaxFileBytes || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = file.readAll();
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

using ParsedFile = std::optional<MeetingFileParser::Parsed>;

// Touches neither the store nor the clock, so that it can run beside the inserts.
QList<ParsedFile> readFiles(const QStringList &paths, const QDateTime &now)
{
    QList<ParsedFile> files;
    files.reserve(paths.size());
    for (const QString &path : paths) {
        const std::optional<QString> text = readUtf8(path);
        files.append(text ? MeetingFileParser::parse(*text, now) : std::nullopt);
    }
    return files;
}

bool recover(OndelStore &store, ParsedFile &parsed, QSet<QUuid> &seen, TimeOrderedIds &lineIds)
{
    if (!parsed)
        return false;
    // Two files naming one id (a copy of a file, say) both come back; the store holds one
    // meeting per id, so the later one gets a new one.
    if (seen.contains(parsed->meeting.id))
        parsed->meeting.id = QUuid::createUuid();
    if (!store.insert(parsed->meeting))
        return false;
    // Copied, not constructed: a new segment draws a random id, which is slow by the million.
    // The file has no ids for its lines, so fresh ones in time order keep the inserts quick.
    TranscriptSegment line;
    line.meetingId = parsed->meeting.id;
    QList<TranscriptSegment> lines;
    lines.reserve(parsed->turns.size());
    for (const MeetingFileParser::Turn &turn : std::as_const(parsed->turns)) {
        TranscriptSegment &segment = lines.emplaceBack(line);
        segment.id = lineIds.next();
        segment.text = turn.text;
        segment.speakerRaw = turn.speaker.rawValue();
        segment.timestamp = turn.timestamp;
    }
    // A meeting comes back with all of its lines or not at all.
    if (!store.insert(lines)) {
        store.removeMeeting(parsed->meeting.id);
        return false;
    }
    seen.insert(parsed->meeting.id);
    return true;
}

} // namespace

QString MeetingImporter::recoveryFolder()
{
    return QDir::homePath() + QStringLiteral("/OndelNotes");
}

std::optional<QStringList> MeetingImporter::markdownFiles(const QString &folder)
{
    const QFileInfo info(folder);
    if (!info.isDir() || !info.isReadable())
        return std::nullopt;
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString name = it.fileName();
        // The extension after the last dot, so neither ".MD" nor a bare ".md" counts.
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        if (dot > 0 && QStringView(name).mid(dot + 1) == QLatin1String("md"))
            files.append(path);
    }
    return files;
}

int MeetingImporter::runIfNeeded(OndelStore &store, const Clock &clock, const QString &folder)
{
    // Only an empty store is rebuilt, so no file can already be in it.
    if (store.meetingCount() != 0)
        return 0;
    const std::optional<QStringList> files = markdownFiles(folder);
    if (!files || files->isEmpty())
        return 0;

    int recovered = 0;
    QSet<QUuid> seen;
    const QDateTime now = clock.now();
    TimeOrderedIds lineIds(now);
    // The next batch is read and parsed on another thread while this one is inserted.
    const auto read = [&](qsizetype first) {
        return std::async(std::launch::async, readFiles, files->mid(first, kFilesPerTransaction), now);
    };
    std::future<QList<ParsedFile>> next = read(0);
    store.bulkLoad([&] {
        // A transaction per batch of files: committing row by row makes a large recovery take minutes.
        for (qsizetype first = 0; first < files->size(); first += kFilesPerTransaction) {
            QList<ParsedFile> batch = next.get();
            if (first + kFilesPerTransaction < files->size())
                next = read(first + kFilesPerTransaction);
            store.transaction([&] {
                for (ParsedFile &parsed : batch)
                    recovered += int(recover(store, parsed, seen, lineIds));
                return true; // a file that fails is skipped, not a reason to drop the others
            });
        }
    });
    if (recovered > 0)
        qCInfo(lcOndel).noquote() << QStringLiteral("Recovered %1 meeting(s) from OndelNotes archive").arg(recovered);
    return recovered;
}
