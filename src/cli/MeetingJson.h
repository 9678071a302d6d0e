#pragma once

#include "ChatMessage.h"
#include "Meeting.h"

#include <QJsonObject>
#include <QList>

class OndelStore;

// The command line's JSON forms: dates in ISO 8601 (UTC), ids upper-case and hyphenated,
// each line with speaker ("Me", "Them" or a name), timestamp (seconds) and text.
class MeetingJson
{
public:
    // The fields of a meeting's list entry.
    static QJsonObject summary(const Meeting &meeting, const OndelStore &store);
    // The meeting with its lines in time order, its notes and its chat.
    static QJsonObject full(const Meeting &meeting, const OndelStore &store);
};
