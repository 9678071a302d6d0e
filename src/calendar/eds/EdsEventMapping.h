#pragma once

#include "CalendarStore.h"

#include <QSet>

#include <libecal/libecal.h>

namespace ondel {

// One occurrence of an EDS calendar component turned into the store's raw event.
namespace EdsEventMapping {

// How addresses are compared: lower case, with no "mailto:".
QString normalizedAddress(const QString &address);

// A time as UTC: a floating time or a date is read in `localZone`.
QDateTime utc(ICalTime *time, ICalTimezone *localZone);

// The attendees in their order. The first whose address is one of `ownAddresses` (normalized)
// is the current user.
QList<CalendarStoreAttendee> attendees(ICalComponent *component, const QSet<QString> &ownAddresses);

// `start` and `end` are the occurrence's times as EDS generated them; floating times and dates
// are read in `localZone`.
CalendarStoreEvent event(ICalComponent *component, ICalTime *start, ICalTime *end, ICalTimezone *localZone,
                         const QString &calendarId, const QSet<QString> &ownAddresses);

}  // namespace EdsEventMapping

}  // namespace ondel
