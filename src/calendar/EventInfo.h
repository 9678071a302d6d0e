#pragma once

#include "EventKind.h"

#include <QColor>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace ondel {

// One calendar entry as the app sees it, whichever calendar it came from, with its verdict.
struct EventInfo {
    QString id;
    QString title;                     // empty when it has none, never a placeholder
    QDateTime startDate;
    QDateTime endDate;
    QStringList attendees;             // names of persons only
    std::optional<QString> organizer;
    QString calendarId;
    QString calendarName;
    QColor calendarColor;
    std::optional<QUrl> conferenceURL;
    int participantCount = 0;          // every attendee record, rooms included
    std::optional<QString> location;
    EventKind kind = EventKind::skip;
    bool highConfidence = false;

    bool operator==(const EventInfo &) const = default;
};

}  // namespace ondel
