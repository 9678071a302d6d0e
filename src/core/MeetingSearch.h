#pragma once

#include "Meeting.h"

#include <QList>
#include <QSet>

#include <functional>
#include <QString>

class OndelStore;

// The sidebar's search: a meeting matches when its title, its notes typed by the user, or the
// text of one of its lines contains the query, case aside. Generated notes are not searched.
class MeetingSearch
{
public:
    // The meetings among `meetings` with a line containing the query (lower-cased already).
    using LineSearch = std::function<QSet<QUuid>(const QString &needle, const QSet<QUuid> &meetings)>;

    // All meetings, newest first, for an empty query; lines read from the store in one pass.
    static QList<Meeting> filter(const OndelStore &store, const QString &query);
    // The same over given meetings (in their order), asking `lines` only about the meetings
    // that neither title nor notes settle.
    static QList<Meeting> filter(const QList<Meeting> &meetings, const QString &query, const LineSearch &lines);
};
