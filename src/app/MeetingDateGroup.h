#pragma once

#include "Meeting.h"

#include <QDateTime>
#include <QList>
#include <QString>

// The date headings under which the sidebar and the home page list meetings.
struct MeetingDateGroup
{
    QString title;
    QList<Meeting> meetings;
};

// "Today", "Yesterday", "This Week" (strictly after the moment seven calendar days before
// `now`), "Earlier"; only groups that hold a meeting, in that order; the input's order kept.
QList<MeetingDateGroup> groupMeetingsByDate(const QList<Meeting> &meetings, const QDateTime &now);

// The title of the group one date falls in.
QString meetingDateGroupTitle(const QDateTime &date, const QDateTime &now);
