#include "EventMirror.h"

#include "ConferenceLink.h"
#include "EventClassification.h"

#include <QUuid>

namespace ondel::EventMirror {

QStringList attendeeNames(const QList<CalendarStoreAttendee> &attendees)
{
    QStringList names;
    for (const CalendarStoreAttendee &attendee : attendees) {
        if (!attendee.isPerson)
            continue;
        if (!attendee.name.isEmpty()) {
            names.append(attendee.name);
            continue;
        }
        QString address = attendee.url.toString();
        address.remove(QStringLiteral("mailto:"));
        const QStringList pieces = address.split(u'@', Qt::SkipEmptyParts);
        if (!pieces.isEmpty())
            names.append(pieces.first());
    }
    return names;
}

CalendarInfo calendarInfo(const CalendarStoreCalendar &calendar)
{
    CalendarInfo info;
    info.id = calendar.id;
    info.title = calendar.title;
    info.sourceTitle = calendar.sourceTitle ? *calendar.sourceTitle : QStringLiteral("Other");
    info.color = calendar.color && calendar.color->isValid() ? *calendar.color : CalendarInfo::defaultColor();
    info.defaultVisible = calendar.type == CalendarStoreCalendar::Type::ordinary;
    info.addedByOndel = calendar.addedByOndel;
    return info;
}

EventInfo mirror(const CalendarStoreEvent &event, const CalendarInfo *calendar, bool alwaysRecord)
{
    EventInfo info;
    info.id = event.eventIdentifier.isEmpty() ? QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()
                                              : event.eventIdentifier;
    info.title = event.title;
    info.startDate = event.startDate;
    info.endDate = event.endDate;
    info.attendees = attendeeNames(event.attendees);
    info.organizer = event.organizer;
    info.calendarId = event.calendarId;
    info.calendarName = calendar ? calendar->title : QString();
    info.calendarColor = calendar ? calendar->color : CalendarInfo::defaultColor();
    info.conferenceURL = ConferenceLink::detect(event);
    info.participantCount = int(event.attendees.size());
    info.location = event.location;
    const EventClassification::Verdict verdict = EventClassification::classify(
        info.conferenceURL.has_value(), info.participantCount, info.title, alwaysRecord);
    info.kind = verdict.kind;
    info.highConfidence = verdict.highConfidence;
    return info;
}

}  // namespace ondel::EventMirror
