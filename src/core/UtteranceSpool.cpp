#include "UtteranceSpool.h"

#include "AppIdentity.h"
#include "Log.h"
#include "Uuid.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr int kHeaderSize = 44;
constexpr int kBytesPerSecond = 48000; // 24000 Hz of 16-bit mono

const QRegularExpression &namePattern()
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d{10})-(Me|Them)-[0-9a-f]{8}\\.wav$"));
    return pattern;
}

void log(const QString &line)
{
    qCInfo(lcOndel).noquote() << line;
}

QString audioLength(qint64 bytes)
{
    return QString::number(double(std::max<qint64>(bytes - kHeaderSize, 0)) / kBytesPerSecond, 'f', 1);
}

bool isWholeWav(const QByteArray &bytes)
{
    if (bytes.size() < kHeaderSize || !bytes.startsWith("RIFF") || bytes.mid(8, 8) != "WAVEfmt " || bytes.mid(36, 4) != "data")
        return false;
    const char *d = bytes.constData();
    const quint32 dataSize = qFromLittleEndian<quint32>(d + 40);
    return qFromLittleEndian<quint16>(d + 20) == 1 && qFromLittleEndian<quint16>(d + 22) == 1
        && qFromLittleEndian<quint16>(d + 34) == 16 && qFromLittleEndian<quint32>(d + 24) > 0
        && dataSize == quint32(bytes.size() - kHeaderSize) && dataSize % 2 == 0
        && qFromLittleEndian<quint32>(d + 4) == dataSize + 36;
}

struct SpoolFile
{
    QString path;
    QString name;
    qint64 size;
    QDateTime written;
};

QList<SpoolFile> filesIn(const QString &folder)
{
    QList<SpoolFile> files;
    const QFileInfoList infos = QDir(folder).entryInfoList({QStringLiteral("*.wav")}, QDir::Files, QDir::Name);
    for (const QFileInfo &info : infos)
        if (namePattern().match(info.fileName()).hasMatch())
            files.append({info.filePath(), info.fileName(), info.size(), info.lastModified()});
    return files;
}

} // namespace

UtteranceSpool::UtteranceSpool(const QString &root, QObject *parent)
    : UtteranceSpool(root, Limits{}, parent)
{
}

UtteranceSpool::UtteranceSpool(const QString &root, Limits limits, QObject *parent)
    : QObject(parent)
    , m_root(root)
    , m_limits(limits)
{
}

UtteranceSpool::~UtteranceSpool() = default;

QString UtteranceSpool::defaultRoot()
{
    return AppIdentity::dataDirectory() + QStringLiteral("/Spool");
}

QString UtteranceSpool::folder(const QUuid &meetingId) const
{
    return m_root + QLatin1Char('/') + uuidText(meetingId);
}

std::optional<UtteranceSpool::Entry> UtteranceSpool::add(const QUuid &meetingId, const QString &speaker, double startOffset,
                                                         const QByteArray &wav)
{
    const QString dir = folder(meetingId);
    const qint64 ms = std::clamp<qint64>(qint64(startOffset * 1000.0 + 0.5), 0, 9'999'999'999);
    const QString name = QStringLiteral("%1-%2-%3.wav")
                             .arg(ms, 10, 10, QLatin1Char('0'))
                             .arg(speaker == QLatin1String("Them") ? QStringLiteral("Them") : QStringLiteral("Me"))
                             .arg(QUuid::createUuid().toString(QUuid::Id128).left(8));
    const QString path = dir + QLatin1Char('/') + name;
    QMutexLocker lock(&m_writeLock);
    // No sync to disk: a killed process leaves the page cache behind, and a sync here would
    // delay the upload that follows.
    QFile part(path + QStringLiteral(".part"));
    // The folder is there but for the first write of a meeting (or after a sweep).
    const bool opened = part.open(QIODevice::WriteOnly) || (QDir().mkpath(dir) && part.open(QIODevice::WriteOnly));
    if (!opened || part.write(wav) != wav.size() || !part.flush()) {
        log(QStringLiteral("Spool write failed: %1").arg(part.errorString()));
        part.remove();
        return std::nullopt;
    }
    part.close();
    if (!part.rename(path)) {
        log(QStringLiteral("Spool write failed: %1").arg(part.errorString()));
        part.remove();
        return std::nullopt;
    }
    if (mayPassLimit(meetingId, wav.size()))
        enforceLimits(meetingId, path);
    lock.unlock();
    Q_EMIT changed(meetingId);
    return Entry{meetingId, speaker, double(ms) / 1000.0, path};
}

bool UtteranceSpool::mayPassLimit(const QUuid &meetingId, qint64 bytes)
{
    QMutexLocker lock(&m_countLock);
    if (!m_counted) {
        lock.unlock();
        // Counted with the new file: the listing is done without the count's lock.
        qint64 overall = 0;
        QHash<QUuid, qint64> perMeeting;
        for (const QUuid &id : folders())
            for (const SpoolFile &f : filesIn(folder(id))) {
                overall += f.size;
                perMeeting[id] += f.size;
            }
        lock.relock();
        m_counted = true;
        m_overallBytes = overall;
        m_meetingBytes = std::move(perMeeting);
    } else {
        m_overallBytes += bytes;
        m_meetingBytes[meetingId] += bytes;
    }
    const bool over = m_overallBytes > m_limits.overall || m_meetingBytes.value(meetingId) > m_limits.meeting;
    if (over)
        m_counted = false; // files are dropped now: counted again at the next write
    return over;
}

void UtteranceSpool::forgetCount()
{
    QMutexLocker lock(&m_countLock);
    m_counted = false;
}

void UtteranceSpool::enforceLimits(const QUuid &meetingId, const QString &keep)
{
    // The oldest audio goes first; the file just written never does, so one entry always fits.
    auto trim = [&](QList<SpoolFile> files, qint64 limit, const QString &which) {
        qint64 total = 0;
        for (const SpoolFile &f : files)
            total += f.size;
        for (const SpoolFile &f : files) {
            if (total <= limit)
                break;
            if (f.path == keep)
                continue;
            drop(f.path, QStringLiteral("Spool over its %1 limit: dropped %2 s of audio (%3)").arg(which, audioLength(f.size), f.name));
            total -= f.size;
        }
    };
    trim(filesIn(folder(meetingId)), m_limits.meeting, QStringLiteral("per-meeting"));

    QList<SpoolFile> all;
    for (const QUuid &id : folders()) {
        QList<SpoolFile> files = filesIn(folder(id));
        for (SpoolFile &f : files)
            f.name = uuidText(id) + QLatin1Char('/') + f.name;
        all += files;
    }
    // Across meetings, by when they were written.
    std::stable_sort(all.begin(), all.end(), [](const SpoolFile &a, const SpoolFile &b) { return a.written < b.written; });
    trim(all, m_limits.overall, QStringLiteral("overall"));
}

void UtteranceSpool::drop(const QString &path, const QString &why)
{
    log(why);
    QFile::remove(path);
    forgetCount();
    if (const std::optional<QUuid> id = parseUuid(QFileInfo(QFileInfo(path).absolutePath()).fileName()))
        Q_EMIT changed(*id);
}

void UtteranceSpool::remove(const Entry &entry)
{
    const qint64 size = QFileInfo(entry.path).size();
    if (QFile::remove(entry.path)) {
        QMutexLocker lock(&m_countLock);
        m_overallBytes -= size;
        m_meetingBytes[entry.meetingId] -= size;
    }
    Q_EMIT changed(entry.meetingId);
}

void UtteranceSpool::removeMeeting(const QUuid &meetingId)
{
    QDir dir(folder(meetingId));
    if (!dir.exists())
        return;
    dir.removeRecursively();
    forgetCount();
    Q_EMIT changed(meetingId);
}

QList<UtteranceSpool::Entry> UtteranceSpool::entries(const QUuid &meetingId) const
{
    QList<Entry> out;
    for (const SpoolFile &f : filesIn(folder(meetingId))) {
        const QRegularExpressionMatch m = namePattern().match(f.name);
        out.append({meetingId, m.captured(2), m.captured(1).toLongLong() / 1000.0, f.path});
    }
    // By time; at the same instant the microphone's first, as a stable order.
    std::stable_sort(out.begin(), out.end(), [](const Entry &a, const Entry &b) { return a.startOffset < b.startOffset; });
    return out;
}

int UtteranceSpool::count(const QUuid &meetingId) const
{
    return int(filesIn(folder(meetingId)).size());
}

QList<QUuid> UtteranceSpool::meetings()
{
    QList<QUuid> out;
    for (const QUuid &id : folders()) {
        if (!filesIn(folder(id)).isEmpty()) {
            out.append(id);
            continue;
        }
        // Emptied by the answers, it goes; a write holds the lock from making the folder to
        // naming its file. A folder with other files stays, listed as before.
        QMutexLocker lock(&m_writeLock);
        if (!filesIn(folder(id)).isEmpty() || !QDir().rmdir(folder(id)))
            out.append(id);
    }
    return out;
}

QList<QUuid> UtteranceSpool::folders() const
{
    QList<QUuid> out;
    const QStringList names = QDir(m_root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &name : names)
        if (const std::optional<QUuid> id = parseUuid(name); id && uuidText(*id) == name)
            out.append(*id);
    return out;
}

std::optional<QByteArray> UtteranceSpool::read(const Entry &entry)
{
    QFile file(entry.path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt; // gone: the limits or another pass took it
    const QByteArray bytes = file.readAll();
    file.close();
    if (isWholeWav(bytes))
        return bytes;
    drop(entry.path, QStringLiteral("Skipped a damaged spool file: %1/%2").arg(uuidText(entry.meetingId), QFileInfo(entry.path).fileName()));
    return std::nullopt;
}
