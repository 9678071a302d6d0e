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

bool recover(OndelStore &store, const QString &path, const Clock &clock, QSet<QUuid> &seen, TimeOrderedIds &lineIds)
{
    const std::optional<QString> text = readUtf8(path);
    if (!text)
        return false;
    std::optional<MeetingFileParser::Parsed> parsed = MeetingFileParser::parse(*text, clock.now());
    if (!parsed)
        return false;
    // Two files naming one id (a copy of a file, say) both come back; the store holds one
    // meeting per id, so the later one gets a new one.
    if (seen.contains(parsed->meeting.id))
        parsed->meeting.id = QUuid::createUuid();
    if (!store.insert(parsed->meeting))
        return false;
    seen.insert(parsed->meeting.id);
    // Copied, not constructed: a new segment draws a random id, which is slow by the million.
    // The file has no ids for its lines, so fresh ones in time order keep the inserts quick.
    TranscriptSegment line;
    line.meetingId = parsed->meeting.id;
    for (const MeetingFileParser::Turn &turn : std::as_const(parsed->turns)) {
        TranscriptSegment segment = line;
        segment.id = lineIds.next();
        segment.text = turn.text;
        segment.speakerRaw = turn.speaker.rawValue();
        segment.timestamp = turn.timestamp;
        store.insert(segment);
    }
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
    TimeOrderedIds lineIds(clock.now());
    // A transaction per batch of files: committing row by row makes a large recovery take minutes.
    for (qsizetype first = 0; first < files->size(); first += kFilesPerTransaction) {
        store.transaction([&] {
            for (const QString &path : files->mid(first, kFilesPerTransaction))
                recovered += int(recover(store, path, clock, seen, lineIds));
            return true; // a file that fails is skipped, not a reason to drop the others
        });
    }
    if (recovered > 0)
        qCInfo(lcOndel).noquote() << QStringLiteral("Recovered %1 meeting(s) from OndelNotes archive").arg(recovered);
    return recovered;
}
