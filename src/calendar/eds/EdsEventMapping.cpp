#include "EdsEventMapping.h"

#include <QUuid>

namespace ondel::EdsEventMapping {

namespace {

std::optional<QString> optionalText(const char *text)
{
    if (!text || !*text)
        return std::nullopt;
    return QString::fromUtf8(text);
}

icalcomponent *native(ICalComponent *component)
{
    return static_cast<icalcomponent *>(i_cal_object_get_native(I_CAL_OBJECT(component)));
}

}  // namespace

QDateTime utc(ICalTime *time, ICalTimezone *localZone)
{
    ICalTimezone *zone = nullptr;
    if (i_cal_time_is_utc(time))
        zone = i_cal_timezone_get_utc_timezone();
    else if (!i_cal_time_is_date(time))
        zone = i_cal_time_get_timezone(time);
    if (!zone)
        zone = localZone;
    return QDateTime::fromSecsSinceEpoch(qint64(i_cal_time_as_timet_with_zone(time, zone)), Qt::UTC);
}

QString normalizedAddress(const QString &address)
{
    QString out = address.trimmed().toLower();
    if (out.startsWith(QLatin1String("mailto:")))
        out.remove(0, 7);
    return out;
}

QList<CalendarStoreAttendee> attendees(ICalComponent *component, const QSet<QString> &ownAddresses)
{
    QList<CalendarStoreAttendee> out;
    icalcomponent *comp = native(component);
    bool currentUserFound = false;
    for (icalproperty *p = icalcomponent_get_first_property(comp, ICAL_ATTENDEE_PROPERTY); p;
         p = icalcomponent_get_next_property(comp, ICAL_ATTENDEE_PROPERTY)) {
        CalendarStoreAttendee attendee;
        const char *address = icalproperty_get_attendee(p);
        if (address)
            attendee.url = QUrl(QString::fromUtf8(address));
        if (icalparameter *cn = icalproperty_get_first_parameter(p, ICAL_CN_PARAMETER))
            attendee.name = QString::fromUtf8(icalparameter_get_cn(cn));
        if (icalparameter *cutype = icalproperty_get_first_parameter(p, ICAL_CUTYPE_PARAMETER)) {
            const icalparameter_cutype value = icalparameter_get_cutype(cutype);
            attendee.isPerson = value == ICAL_CUTYPE_INDIVIDUAL || value == ICAL_CUTYPE_NONE;
        }
        if (icalparameter *partstat = icalproperty_get_first_parameter(p, ICAL_PARTSTAT_PARAMETER))
            attendee.declined = icalparameter_get_partstat(partstat) == ICAL_PARTSTAT_DECLINED;
        if (!currentUserFound && address && !ownAddresses.isEmpty()
            && ownAddresses.contains(normalizedAddress(QString::fromUtf8(address)))) {
            attendee.isCurrentUser = true;
            currentUserFound = true;
        }
        out.append(std::move(attendee));
    }
    return out;
}

CalendarStoreEvent event(ICalComponent *component, ICalTime *start, ICalTime *end, ICalTimezone *localZone,
                         const QString &calendarId, const QSet<QString> &ownAddresses)
{
    icalcomponent *comp = native(component);
    CalendarStoreEvent event;
    const char *uid = icalcomponent_get_uid(comp);
    // Without a UID nothing ties two reads of the event together; it still shows, under a fresh id.
    event.eventIdentifier = calendarId + u':'
        + (uid && *uid ? QString::fromUtf8(uid) : QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (const char *summary = icalcomponent_get_summary(comp))
        event.title = QString::fromUtf8(summary);
    event.isAllDay = i_cal_time_is_date(start);
    event.startDate = utc(start, localZone);
    event.endDate = end && !i_cal_time_is_null_time(end) ? utc(end, localZone) : event.startDate;
    event.attendees = attendees(component, ownAddresses);
    if (icalproperty *organizer = icalcomponent_get_first_property(comp, ICAL_ORGANIZER_PROPERTY)) {
        icalparameter *cn = icalproperty_get_first_parameter(organizer, ICAL_CN_PARAMETER);
        const char *name = cn ? icalparameter_get_cn(cn) : nullptr;
        if (name && *name) {
            event.organizer = QString::fromUtf8(name);
        } else if (const char *address = icalproperty_get_organizer(organizer)) {
            const QString plain = QString::fromUtf8(address).remove(QStringLiteral("mailto:"), Qt::CaseInsensitive);
            if (!plain.isEmpty())
                event.organizer = plain;
        }
    }
    event.calendarId = calendarId;
    event.location = optionalText(icalcomponent_get_location(comp));
    event.notes = optionalText(icalcomponent_get_description(comp));
    if (icalproperty *url = icalcomponent_get_first_property(comp, ICAL_URL_PROPERTY)) {
        if (const char *text = icalproperty_get_url(url))
            event.url = QUrl(QString::fromUtf8(text).trimmed());
    }
    return event;
}

}  // namespace ondel::EdsEventMapping
