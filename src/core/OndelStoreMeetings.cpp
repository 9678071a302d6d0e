#include "OndelStore.h"

// Meetings: their rows, queries and counts.

#include "StoreValues.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlQuery>

using namespace StoreValues;

namespace {

QString namesToJson(const QStringList &names)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(names)).toJson(QJsonDocument::Compact));
}

QStringList namesFromJson(const QString &json)
{
    QStringList names;
    for (const QJsonValue &v : QJsonDocument::fromJson(json.toUtf8()).array())
        names.append(v.toString());
    return names;
}

const QString kMeetingColumns = QStringLiteral(
    "id, title, summary, user_notes, date, duration, is_recording, calendar_event_id, attendee_names, organizer, "
    "calendar_name, scheduled_start, scheduled_end, source, title_is_user_edited, auto_start_enabled, "
    "auto_start_fired, link_banner_dismissed, folder_id");

Meeting meetingFrom(const QSqlQuery &q)
{
    Meeting m;
    m.id = QUuid::fromString(q.value(0).toString());
    m.title = q.value(1).toString();
    m.summary = optionalText(q.value(2));
    m.userNotes = q.value(3).toString();
    m.date = dateFrom(q.value(4));
    m.duration = q.value(5).toDouble();
    m.isRecording = q.value(6).toBool();
    m.calendarEventId = optionalText(q.value(7));
    m.attendeeNames = namesFromJson(q.value(8).toString());
    m.organizer = optionalText(q.value(9));
    m.calendarName = optionalText(q.value(10));
    m.scheduledStart = optionalDate(q.value(11));
    m.scheduledEnd = optionalDate(q.value(12));
    m.source = q.value(13).toString();
    m.titleIsUserEdited = q.value(14).toBool();
    m.autoStartEnabled = q.value(15).toBool();
    m.autoStartFired = q.value(16).toBool();
    m.linkBannerDismissed = q.value(17).toBool();
    m.folderId = optionalId(q.value(18));
    return m;
}

QString whereClause(const MeetingQuery &query)
{
    QStringList conditions;
    if (query.isRecording)
        conditions << QStringLiteral("is_recording = :isRecording");
    if (query.folderId)
        conditions << QStringLiteral("folder_id = :folderId");
    else if (query.withoutFolder)
        conditions << QStringLiteral("folder_id IS NULL");
    return conditions.isEmpty() ? QString() : QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND "));
}

void bindQuery(QSqlQuery &q, const MeetingQuery &query)
{
    if (query.isRecording)
        q.bindValue(QStringLiteral(":isRecording"), int(*query.isRecording));
    if (query.folderId)
        q.bindValue(QStringLiteral(":folderId"), uuidText(*query.folderId));
}

} // namespace

bool OndelStore::writeMeeting(const Meeting &m, bool isNew)
{
    QSqlQuery &q = prepared(isNew
        ? QStringLiteral("INSERT INTO meetings (%1) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)").arg(kMeetingColumns)
        : QStringLiteral("UPDATE meetings SET title = ?, summary = ?, user_notes = ?, date = ?, duration = ?, is_recording = ?, "
                         "calendar_event_id = ?, attendee_names = ?, organizer = ?, calendar_name = ?, scheduled_start = ?, "
                         "scheduled_end = ?, source = ?, title_is_user_edited = ?, auto_start_enabled = ?, auto_start_fired = ?, "
                         "link_banner_dismissed = ?, folder_id = ? WHERE id = ?"));
    int i = 0;
    if (isNew)
        q.bindValue(i++, uuidText(m.id));
    q.bindValue(i++, plain(m.title));
    q.bindValue(i++, text(m.summary));
    q.bindValue(i++, plain(m.userNotes));
    q.bindValue(i++, millis(m.date));
    q.bindValue(i++, m.duration);
    q.bindValue(i++, int(m.isRecording));
    q.bindValue(i++, text(m.calendarEventId));
    q.bindValue(i++, namesToJson(m.attendeeNames));
    q.bindValue(i++, text(m.organizer));
    q.bindValue(i++, text(m.calendarName));
    q.bindValue(i++, millis(m.scheduledStart));
    q.bindValue(i++, millis(m.scheduledEnd));
    q.bindValue(i++, plain(m.source));
    q.bindValue(i++, int(m.titleIsUserEdited));
    q.bindValue(i++, int(m.autoStartEnabled));
    q.bindValue(i++, int(m.autoStartFired));
    q.bindValue(i++, int(m.linkBannerDismissed));
    q.bindValue(i++, idText(m.folderId));
    if (!isNew)
        q.bindValue(i++, uuidText(m.id));
    if (!run(q))
        return false;
    if (!isNew && q.numRowsAffected() == 0) {
        m_lastError = QStringLiteral("no such meeting");
        return false;
    }
    Q_EMIT meetingChanged(m.id);
    return true;
}

bool OndelStore::insert(const Meeting &meeting)
{
    return writeMeeting(meeting, true);
}

bool OndelStore::save(const Meeting &meeting)
{
    return writeMeeting(meeting, false);
}

bool OndelStore::update(const QUuid &meetingId, const std::function<void(Meeting &)> &change)
{
    bool read = false;
    std::optional<Meeting> current = meeting(meetingId, &read);
    if (!current) {
        if (read) // else lastError tells why the read failed
            m_lastError = QStringLiteral("no such meeting");
        return false;
    }
    const Meeting before = *current;
    change(*current);
    if (*current == before)
        return true;
    return writeMeeting(*current, false);
}

bool OndelStore::removeMeeting(const QUuid &meetingId)
{
    // Segments and chat turns go with it through the foreign keys' cascade.
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM meetings WHERE id = ?"));
    q.bindValue(0, uuidText(meetingId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() == 0)
        return true;
    Q_EMIT meetingRemoved(meetingId);
    return true;
}

std::optional<Meeting> OndelStore::meeting(const QUuid &meetingId, bool *ok) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM meetings WHERE id = ?").arg(kMeetingColumns));
    q.bindValue(0, uuidText(meetingId));
    const bool read = run(q);
    if (ok)
        *ok = read;
    if (!read || !q.next())
        return std::nullopt;
    Meeting m = meetingFrom(q);
    q.finish();
    return m;
}

QList<Meeting> OndelStore::meetings(const MeetingQuery &query, bool *ok) const
{
    QString sql = QStringLiteral("SELECT %1 FROM meetings").arg(kMeetingColumns) + whereClause(query)
        + (query.newestFirst ? QStringLiteral(" ORDER BY date DESC, rowid DESC") : QStringLiteral(" ORDER BY date ASC, rowid ASC"));
    if (query.limit > 0)
        sql += QStringLiteral(" LIMIT %1").arg(query.limit);
    QSqlQuery &q = prepared(sql);
    bindQuery(q, query);
    QList<Meeting> result;
    const bool read = run(q);
    if (ok)
        *ok = read;
    if (!read)
        return result;
    while (q.next())
        result.append(meetingFrom(q));
    q.finish();
    return result;
}

int OndelStore::meetingCount(const MeetingQuery &query, bool *ok) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT COUNT(*) FROM meetings") + whereClause(query));
    bindQuery(q, query);
    return StoreValues::count(q, run(q), ok);
}
