#pragma once

#include "CalendarInfo.h"
#include "CalendarStore.h"
#include "EventInfo.h"

#include <QSet>

namespace ondel {

// Turns what the desktop's calendar store gave into the app's values.
namespace EventMirror {

// The names of the persons among an event's attendees, in order: the name, else the part of
// the address before "@"; rooms and resources, and persons with neither, have no entry.
QStringList attendeeNames(const QList<CalendarStoreAttendee> &attendees);

// The listed form of one of the store's calendars.
CalendarInfo calendarInfo(const CalendarStoreCalendar &calendar);

// One store event as an EventInfo, classified. `calendar` is the event's calendar (null when
// it is not among those read); `alwaysRecord` whether the user marked that calendar.
EventInfo mirror(const CalendarStoreEvent &event, const CalendarInfo *calendar, bool alwaysRecord);

}  // namespace EventMirror
}  // namespace ondel
