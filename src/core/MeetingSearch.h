#pragma once

#include "Meeting.h"

#include <QList>
#include <QString>

class OndelStore;

// The sidebar's search: a meeting matches when its title, its notes typed by the user, or the
// text of one of its lines contains the query, case aside. Generated notes are not searched.
class MeetingSearch
{
public:
    // All meetings, newest first, for an empty query.
    static QList<Meeting> filter(const OndelStore &store, const QString &query);
};
