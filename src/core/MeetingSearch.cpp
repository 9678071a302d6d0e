#include "MeetingSearch.h"

#include "OndelStore.h"

QList<Meeting> MeetingSearch::filter(const OndelStore &store, const QString &query)
{
    return filter(store.meetings(), query, [&store](const QString &needle, const QSet<QUuid> &meetings) {
        QSet<QUuid> found = store.meetingsWithLineContaining(needle);
        found.intersect(meetings);
        return found;
    });
}

QList<Meeting> MeetingSearch::filter(const QList<Meeting> &meetings, const QString &query, const LineSearch &lines)
{
    const QString needle = query.toLower();
    if (needle.isEmpty())
        return meetings;
    QList<Meeting> found;
    QSet<QUuid> unsettled;
    for (const Meeting &m : meetings) {
        if (!m.title.toLower().contains(needle) && !m.userNotes.toLower().contains(needle))
            unsettled.insert(m.id);
    }
    const QSet<QUuid> inLines = unsettled.isEmpty() ? QSet<QUuid>() : lines(needle, unsettled);
    for (const Meeting &m : meetings) {
        if (!unsettled.contains(m.id) || inLines.contains(m.id))
            found.append(m);
    }
    return found;
}
