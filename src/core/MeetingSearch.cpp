#include "MeetingSearch.h"

#include "OndelStore.h"

QList<Meeting> MeetingSearch::filter(const OndelStore &store, const QString &query)
{
    const QList<Meeting> all = store.meetings();
    const QString needle = query.toLower();
    if (needle.isEmpty())
        return all;
    QList<Meeting> found;
    for (const Meeting &meeting : all) {
        if (meeting.title.toLower().contains(needle) || meeting.userNotes.toLower().contains(needle)) {
            found.append(meeting);
            continue;
        }
        const QList<TranscriptSegment> lines = store.segments(meeting.id);
        const bool inLines = std::any_of(lines.begin(), lines.end(),
                                         [&](const TranscriptSegment &s) { return s.text.toLower().contains(needle); });
        if (inLines)
            found.append(meeting);
    }
    return found;
}
