#include "Meeting.h"

#include <algorithm>

bool Meeting::hasUserNotes() const
{
    return !userNotes.trimmed().isEmpty();
}

bool Meeting::allowsAITitle() const
{
    return !titleIsUserEdited && !calendarEventId.has_value();
}

QString Meeting::formattedTranscript(QList<TranscriptSegment> segments)
{
    if (segments.isEmpty())
        return {};
    std::stable_sort(segments.begin(), segments.end(),
                     [](const TranscriptSegment &a, const TranscriptSegment &b) { return a.timestamp < b.timestamp; });

    QStringList lines;
    Speaker current = segments.first().speaker();
    QStringList texts;
    auto close = [&] { lines.append(current.label() + QStringLiteral(": ") + texts.join(QLatin1Char(' '))); };
    for (const TranscriptSegment &segment : std::as_const(segments)) {
        const Speaker speaker = segment.speaker();
        if (speaker == current) {
            texts.append(segment.text);
        } else {
            close();
            current = speaker;
            texts = {segment.text};
        }
    }
    close();
    return lines.join(QLatin1Char('\n'));
}
