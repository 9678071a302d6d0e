#include "MeetingJson.h"

#include "OndelStore.h"
#include "Uuid.h"

#include <QJsonArray>

namespace {

QJsonValue isoDate(const QDateTime &date)
{
    return date.toUTC().toString(Qt::ISODateWithMs);
}

QJsonValue optionalText(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

} // namespace

QJsonObject MeetingJson::summary(const Meeting &m, const OndelStore &store)
{
    QJsonObject o{
        {QStringLiteral("id"), uuidText(m.id)},
        {QStringLiteral("title"), m.title},
        {QStringLiteral("date"), isoDate(m.date)},
        {QStringLiteral("duration"), m.duration},
        {QStringLiteral("isRecording"), m.isRecording},
        {QStringLiteral("source"), m.source},
        {QStringLiteral("hasNotes"), m.summary.has_value()},
        {QStringLiteral("lineCount"), store.segmentCount(m.id)},
    };
    if (m.folderId) {
        const std::optional<Folder> folder = store.folder(*m.folderId);
        o.insert(QStringLiteral("folder"), folder ? QJsonValue(folder->name) : QJsonValue(QJsonValue::Null));
    } else {
        o.insert(QStringLiteral("folder"), QJsonValue(QJsonValue::Null));
    }
    return o;
}

QJsonObject MeetingJson::full(const Meeting &m, const OndelStore &store)
{
    QJsonObject o = summary(m, store);
    o.insert(QStringLiteral("summary"), optionalText(m.summary));
    o.insert(QStringLiteral("userNotes"), m.userNotes);
    o.insert(QStringLiteral("calendarEventId"), optionalText(m.calendarEventId));
    o.insert(QStringLiteral("attendeeNames"), QJsonArray::fromStringList(m.attendeeNames));
    o.insert(QStringLiteral("organizer"), optionalText(m.organizer));
    o.insert(QStringLiteral("calendarName"), optionalText(m.calendarName));
    o.insert(QStringLiteral("scheduledStart"), m.scheduledStart ? isoDate(*m.scheduledStart) : QJsonValue(QJsonValue::Null));
    o.insert(QStringLiteral("scheduledEnd"), m.scheduledEnd ? isoDate(*m.scheduledEnd) : QJsonValue(QJsonValue::Null));

    QJsonArray lines;
    for (const TranscriptSegment &s : store.segments(m.id)) {
        lines.append(QJsonObject{
            {QStringLiteral("speaker"), s.speaker().rawValue()},
            {QStringLiteral("timestamp"), s.timestamp},
            {QStringLiteral("text"), s.text},
        });
    }
    o.insert(QStringLiteral("lines"), lines);

    QJsonArray chat;
    for (const ChatMessage &c : store.chatMessages(m.id)) {
        chat.append(QJsonObject{
            {QStringLiteral("role"), c.roleRaw},
            {QStringLiteral("text"), c.text},
            {QStringLiteral("createdAt"), isoDate(c.createdAt)},
            {QStringLiteral("modelId"), optionalText(c.modelId)},
        });
    }
    o.insert(QStringLiteral("chat"), chat);
    return o;
}
