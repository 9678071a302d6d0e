#pragma once

#include <QByteArray>
#include <QString>

// iCalendar texts for the EDS tests.
namespace EdsCalendars {

inline QByteArray calendar(const QByteArray &body, const QByteArray &header = {})
{
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ondel tests//EN\r\n" + header + body + "END:VCALENDAR\r\n";
}

inline const QByteArray newYork = "BEGIN:VTIMEZONE\r\nTZID:America/New_York\r\n"
                                  "BEGIN:DAYLIGHT\r\nTZOFFSETFROM:-0500\r\nTZOFFSETTO:-0400\r\nTZNAME:EDT\r\n"
                                  "DTSTART:19700308T020000\r\nRRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU\r\nEND:DAYLIGHT\r\n"
                                  "BEGIN:STANDARD\r\nTZOFFSETFROM:-0400\r\nTZOFFSETTO:-0500\r\nTZNAME:EST\r\n"
                                  "DTSTART:19701101T020000\r\nRRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU\r\nEND:STANDARD\r\n"
                                  "END:VTIMEZONE\r\n";

inline QByteArray event(const QByteArray &uid, const QByteArray &lines)
{
    return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20261001T000000Z\r\n" + lines + "END:VEVENT\r\n";
}

// The work calendar: a weekly meeting in New York across the end of daylight saving time
// (1 November 2026), one week left out, one moved, one moved out of the window; a meeting with every kind of attendee; an
// all-day event; an organizer without a name.
inline QByteArray work()
{
    return calendar(
        newYork
        + event("weekly-1", "SUMMARY:Weekly sync\r\nDTSTART;TZID=America/New_York:20261026T090000\r\n"
                            "DTEND;TZID=America/New_York:20261026T100000\r\nRRULE:FREQ=WEEKLY;BYDAY=MO\r\n"
                            "EXDATE;TZID=America/New_York:20261109T090000\r\n")
        + event("weekly-1", "SUMMARY:Weekly sync (moved)\r\nRECURRENCE-ID;TZID=America/New_York:20261116T090000\r\n"
                            "DTSTART;TZID=America/New_York:20261116T110000\r\n"
                            "DTEND;TZID=America/New_York:20261116T120000\r\n")
        + event("weekly-1", "SUMMARY:Weekly sync (December)\r\nRECURRENCE-ID;TZID=America/New_York:20261102T090000\r\n"
                            "DTSTART;TZID=America/New_York:20261201T090000\r\n"
                            "DTEND;TZID=America/New_York:20261201T100000\r\n")
        + event("review-1", "SUMMARY:Design review\r\nDTSTART:20261028T150000Z\r\nDTEND:20261028T160000Z\r\n"
                            "ORGANIZER;CN=Ann Lee:mailto:ann@example.com\r\nURL:https://zoom.us/j/123\r\n"
                            "LOCATION:Room 4\r\nDESCRIPTION:Agenda\\, then demo\r\n"
                            "ATTENDEE;CN=Ann Lee;CUTYPE=INDIVIDUAL:mailto:ann@example.com\r\n"
                            "ATTENDEE:mailto:bob@example.com\r\n"
                            "ATTENDEE;CN=Room 4;CUTYPE=ROOM:mailto:room4@example.com\r\n"
                            "ATTENDEE;CUTYPE=RESOURCE:mailto:projector@example.com\r\n"
                            "ATTENDEE;CUTYPE=GROUP:mailto:team@example.com\r\n"
                            "ATTENDEE;CUTYPE=UNKNOWN:mailto:who@example.com\r\n"
                            "ATTENDEE;CN=Me;PARTSTAT=DECLINED:mailto:ME@Work.example\r\n"
                            "ATTENDEE;PARTSTAT=ACCEPTED:mailto:me@work.example\r\n")
        + event("offsite-1", "SUMMARY:Offsite\r\nDTSTART;VALUE=DATE:20261029\r\nDTEND;VALUE=DATE:20261030\r\n")
        + event("lunch-1", "SUMMARY:Lunch\r\nDTSTART:20261030T120000Z\r\nDTEND:20261030T130000Z\r\n"
                           "ORGANIZER:mailto:boss@example.com\r\n"
                           "ATTENDEE;PARTSTAT=DECLINED:mailto:me@personal.example\r\n"
                           "ATTENDEE;PARTSTAT=ACCEPTED:mailto:id@mail.example\r\n"));
}

inline QByteArray crowd(int attendees)
{
    QByteArray lines = "SUMMARY:All hands\r\nDTSTART:20261027T170000Z\r\nDTEND:20261027T180000Z\r\n";
    for (int i = 0; i < attendees; ++i)
        lines += "ATTENDEE;CN=Person " + QByteArray::number(i) + ":mailto:p" + QByteArray::number(i) + "@example.com\r\n";
    return calendar(event("crowd-1", lines));
}

// `count` one-minute events from 26 October 2026, 00:00 UTC, `spacingSeconds` apart.
inline QByteArray many(int count, int spacingSeconds)
{
    QByteArray body;
    body.reserve(count * 140);
    const qint64 base = 1792972800; // 2026-10-26T00:00:00Z
    for (int i = 0; i < count; ++i) {
        const auto stamp = [](qint64 t) {
            return QDateTime::fromSecsSinceEpoch(t, Qt::UTC).toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
        };
        const qint64 start = base + qint64(i) * spacingSeconds;
        body += event("many-" + QByteArray::number(i),
                      "SUMMARY:Slot\r\nDTSTART:" + stamp(start) + "\r\nDTEND:" + stamp(start + 60) + "\r\n");
    }
    return calendar(body);
}

} // namespace EdsCalendars
