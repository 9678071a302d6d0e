#include "ArchiveSnapshot.h"

#include "OndelStore.h"

#include <algorithm>

ArchiveSnapshot ArchiveSnapshot::from(const Meeting &meeting, QList<TranscriptSegment> segments, QList<ChatMessage> chat)
{
    ArchiveSnapshot s;
    s.id = meeting.id;
    s.title = meeting.title.isEmpty() ? QStringLiteral("Untitled") : meeting.title;
    s.date = meeting.date;
    s.duration = meeting.duration;
    s.summary = meeting.summary;
    s.userNotes = meeting.userNotes;

    // The store hands both lists over sorted already; a look costs less than a sort, and keeps
    // this correct for any caller.
    const auto byTime = [](const TranscriptSegment &a, const TranscriptSegment &b) { return a.timestamp < b.timestamp; };
    if (!std::is_sorted(segments.cbegin(), segments.cend(), byTime))
        std::stable_sort(segments.begin(), segments.end(), byTime);
    s.turns.reserve(segments.size());
    for (const TranscriptSegment &segment : std::as_const(segments))
        s.turns.append({segment.speaker().label(), segment.timestamp, segment.text});

    std::stable_sort(chat.begin(), chat.end(), [](const ChatMessage &a, const ChatMessage &b) { return a.createdAt < b.createdAt; });
    s.chat.reserve(chat.size());
    for (const ChatMessage &message : std::as_const(chat)) {
        // Unknown roles read as questions.
        const bool answer = message.roleRaw == QLatin1String("assistant");
        s.chat.append({answer ? QStringLiteral("assistant") : QStringLiteral("user"), message.text});
    }
    return s;
}

std::optional<ArchiveSnapshot> ArchiveSnapshot::take(const OndelStore &store, const QUuid &meetingId)
{
    const std::optional<Meeting> meeting = store.meeting(meetingId);
    if (!meeting)
        return std::nullopt;
    // Lines or turns that could not be read are not "none": such a snapshot would overwrite
    // the meeting's file without them.
    bool linesRead = false;
    bool chatRead = false;
    const QList<TranscriptSegment> lines = store.segments(meetingId, &linesRead);
    const QList<ChatMessage> chat = store.chatMessages(meetingId, &chatRead);
    if (!linesRead || !chatRead)
        return std::nullopt;
    return from(*meeting, lines, chat);
}
