#include "MeetingDateGroup.h"

#include <array>

QString meetingDateGroupTitle(const QDateTime &date, const QDateTime &now)
{
    // Calendar days in the user's time zone, as the user reads "today".
    const QDateTime localNow = now.toLocalTime();
    const QDate day = date.toLocalTime().date();
    if (day == localNow.date())
        return QStringLiteral("Today");
    if (day == localNow.date().addDays(-1))
        return QStringLiteral("Yesterday");
    const QDateTime weekAgo = localNow.addDays(-7);
    if (weekAgo.isValid() && date > weekAgo)
        return QStringLiteral("This Week");
    return QStringLiteral("Earlier");
}

QList<MeetingDateGroup> groupMeetingsByDate(const QList<Meeting> &meetings, const QDateTime &now)
{
    std::array<MeetingDateGroup, 4> buckets{{{QStringLiteral("Today"), {}},
                                             {QStringLiteral("Yesterday"), {}},
                                             {QStringLiteral("This Week"), {}},
                                             {QStringLiteral("Earlier"), {}}}};
    for (const Meeting &meeting : meetings) {
        const QString title = meetingDateGroupTitle(meeting.date, now);
        for (MeetingDateGroup &bucket : buckets) {
            if (bucket.title == title) {
                bucket.meetings.append(meeting);
                break;
            }
        }
    }
    QList<MeetingDateGroup> groups;
    for (MeetingDateGroup &bucket : buckets) {
        if (!bucket.meetings.isEmpty())
            groups.append(std::move(bucket));
    }
    return groups;
}
