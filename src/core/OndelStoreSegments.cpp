#include "OndelStore.h"

// Transcript lines: written and read through SQLite directly where the driver allows it.

#include "StoreDirectLines.h"
#include "StoreValues.h"

#include <QSqlError>
#include <QSqlQuery>

#include <atomic>

using namespace StoreValues;

namespace {

const QString kSegmentColumns = QStringLiteral("id, meeting_id, text, speaker_raw, timestamp, is_final");

TranscriptSegment segmentFrom(const QSqlQuery &q)
{
    TranscriptSegment s(QUuid::fromString(q.value(0).toString()));
    s.meetingId = optionalId(q.value(1));
    s.text = q.value(2).toString();
    s.speakerRaw = q.value(3).toString();
    s.timestamp = q.value(4).toDouble();
    s.isFinal = q.value(5).toBool();
    return s;
}

} // namespace

bool OndelStore::insert(const TranscriptSegment &segment)
{
    return writeSegments(&segment, 1);
}

bool OndelStore::insert(const QList<TranscriptSegment> &segments)
{
    return writeSegments(segments.constData(), segments.size());
}

bool OndelStore::writeSegments(const TranscriptSegment *segments, qsizetype count)
{
    for (qsizetype i = 0; i < count; ++i) {
        if (!segments[i].meetingId) {
            m_lastError = QStringLiteral("a transcript line needs a meeting");
            return false;
        }
    }
    // One statement is atomic by itself; more need a savepoint to land together.
    const bool several = count > 1;
    if (several && !run(prepared(QStringLiteral("SAVEPOINT lines"))))
        return false;
    bool ok = true;
    if (m_directLines) {
        if (const QString why = m_directLines->write(segments, count); !why.isEmpty()) {
            m_lastError = why;
            ok = false;
        }
    } else {
        for (qsizetype i = 0; ok && i < count; ++i)
            ok = writeSegmentThroughQt(segments[i]);
    }
    if (several) {
        if (!ok)
            prepared(QStringLiteral("ROLLBACK TO lines")).exec(); // fails only if SQLite already undid it all
        QSqlQuery &release = prepared(QStringLiteral("RELEASE lines"));
        if (!release.exec() && ok) {
            m_lastError = release.lastError().text();
            ok = false;
        }
    }
    if (!ok)
        return false;
    for (qsizetype i = 0; i < count; ++i)
        Q_EMIT segmentAdded(segments[i]);
    return true;
}

bool OndelStore::writeSegmentThroughQt(const TranscriptSegment &s)
{
    QSqlQuery &q = prepared(QStringLiteral("INSERT INTO transcript_segments (%1) VALUES (?, ?, ?, ?, ?, ?)").arg(kSegmentColumns));
    q.bindValue(0, uuidText(s.id));
    q.bindValue(1, uuidText(*s.meetingId));
    q.bindValue(2, plain(s.text));
    q.bindValue(3, plain(s.speakerRaw));
    q.bindValue(4, s.timestamp);
    q.bindValue(5, int(s.isFinal));
    return run(q);
}

std::optional<QUuid> OndelStore::meetingOfSegment(const QUuid &segmentId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT meeting_id FROM transcript_segments WHERE id = ?"));
    q.bindValue(0, uuidText(segmentId));
    if (!run(q) || !q.next())
        return std::nullopt;
    const std::optional<QUuid> id = optionalId(q.value(0));
    q.finish();
    return id;
}

bool OndelStore::removeSegment(const QUuid &segmentId)
{
    const std::optional<QUuid> meetingId = meetingOfSegment(segmentId);
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM transcript_segments WHERE id = ?"));
    q.bindValue(0, uuidText(segmentId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() > 0)
        Q_EMIT segmentRemoved(meetingId.value_or(QUuid()), segmentId);
    return true;
}

QList<TranscriptSegment> OndelStore::segments(const QUuid &meetingId, bool *ok) const
{
    if (ok)
        *ok = false;
    if (m_directLines) {
        QList<TranscriptSegment> result;
        if (const QString why = m_directLines->read(meetingId, result); !why.isEmpty()) {
            m_lastError = why;
            return {};
        }
        if (ok)
            *ok = true;
        return result;
    }
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM transcript_segments WHERE meeting_id = ? ORDER BY timestamp, seq").arg(kSegmentColumns));
    q.bindValue(0, uuidText(meetingId));
    QList<TranscriptSegment> result;
    if (!run(q))
        return result;
    if (ok)
        *ok = true;
    while (q.next())
        result.append(segmentFrom(q));
    q.finish();
    return result;
}

QList<TranscriptSegment> OndelStore::segmentsBetween(const QUuid &meetingId, const QStringList &speakerRaws, double from, double to) const
{
    QStringList marks;
    for (qsizetype i = 0; i < speakerRaws.size(); ++i)
        marks << QStringLiteral("?");
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM transcript_segments WHERE meeting_id = ? AND timestamp >= ? AND timestamp <= ? "
                                           "AND speaker_raw IN (%2) ORDER BY seq")
                                .arg(kSegmentColumns, marks.join(QLatin1Char(','))));
    int i = 0;
    q.bindValue(i++, uuidText(meetingId));
    q.bindValue(i++, from);
    q.bindValue(i++, to);
    for (const QString &raw : speakerRaws)
        q.bindValue(i++, plain(raw));
    QList<TranscriptSegment> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(segmentFrom(q));
    q.finish();
    return result;
}

int OndelStore::segmentCount(const QUuid &meetingId, bool *ok) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT COUNT(*) FROM transcript_segments WHERE meeting_id = ?"));
    q.bindValue(0, uuidText(meetingId));
    return StoreValues::count(q, run(q), ok);
}

QSet<QUuid> OndelStore::meetingsWithLineContaining(const QString &text) const
{
    QSet<QUuid> found;
    if (text.isEmpty())
        return found;
    // SQLite's LIKE folds ASCII only: text beyond it is compared here, with Qt's folding.
    bool ascii = true;
    for (QChar c : text)
        ascii = ascii && c.unicode() < 0x80;
    QSqlQuery &q = prepared(ascii ? QStringLiteral("SELECT DISTINCT meeting_id FROM transcript_segments WHERE text LIKE ? ESCAPE '\\'")
                                  : QStringLiteral("SELECT meeting_id, text FROM transcript_segments"));
    if (ascii) {
        QString pattern = text;
        pattern.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('%'), QStringLiteral("\\%")).replace(QLatin1Char('_'), QStringLiteral("\\_"));
        q.bindValue(0, QStringLiteral("%%1%").arg(pattern));
    }
    if (!run(q))
        return found;
    const QString needle = text.toLower();
    while (q.next()) {
        if (!ascii && !q.value(1).toString().toLower().contains(needle))
            continue;
        if (const std::optional<QUuid> id = parseUuid(q.value(0).toString()))
            found.insert(*id);
    }
    q.finish();
    return found;
}

bool OndelStore::readLines(const QString &filePath, const std::function<void(const QUuid &meetingId, const QString &text)> &visit)
{
    static std::atomic<int> serial{0};
    const QString name = QStringLiteral("ondel-lines-%1").arg(serial.fetch_add(1));
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(filePath);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery q(db);
            q.setForwardOnly(true);
            ok = q.exec(QStringLiteral("SELECT meeting_id, text FROM transcript_segments WHERE meeting_id IS NOT NULL"));
            QString lastText;
            QUuid last;
            while (ok && q.next()) {
                // Lines come grouped by meeting more often than not: each id is parsed once per run.
                const QString idText = q.value(0).toString();
                if (idText != lastText) {
                    lastText = idText;
                    last = parseUuid(idText).value_or(QUuid());
                }
                if (!last.isNull())
                    visit(last, q.value(1).toString());
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return ok;
}
