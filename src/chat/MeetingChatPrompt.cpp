#include "MeetingChatPrompt.h"

#include "ChatCompletionEndpoint.h"

#include <QStringList>

namespace {

const QString kOpening = QStringLiteral(
    "You are answering questions about one meeting, for the person who recorded it. Everything you know about it is "
    "below.\n\n"
    "Answer only from that material. If something was not discussed, say so plainly and say what was discussed "
    "instead — never fill the gap with a plausible guess. The person is often asking mid-meeting to catch something "
    "they missed, so being wrong is worse than being incomplete.\n\n"
    "Reply in the language of the question unless asked otherwise. Keep it short: a couple of sentences or a few "
    "bullets. No preamble, no restating the question.\n\n"
    "The transcript separates two sources: the microphone, which is usually this person, and the meeting audio, "
    "which is everyone else. That split is a reasonable guess and occasionally wrong, so avoid asserting who said "
    "what unless the words themselves make it clear.");

} // namespace

QString MeetingChatPrompt::system(const Meeting &meeting, const QString &transcript)
{
    QStringList paragraphs{kOpening};
    if (!meeting.title.isEmpty() && meeting.title != QLatin1String("New Meeting"))
        paragraphs.append(QStringLiteral("MEETING: ") + meeting.title);
    QStringList invited;
    for (const QString &name : meeting.attendeeNames) {
        if (!name.isEmpty())
            invited.append(name);
    }
    if (!invited.isEmpty()) {
        paragraphs.append(QStringLiteral("INVITED: ") + invited.join(QStringLiteral(", "))
                          + QStringLiteral("\nUse these names when the transcript makes clear who is speaking. Do not "
                                           "guess a name onto a line that could belong to anyone."));
    }
    if (meeting.organizer && !meeting.organizer->isEmpty())
        paragraphs.append(QStringLiteral("ORGANISER: ") + *meeting.organizer);
    if (const QString notes = meeting.userNotes.trimmed(); !notes.isEmpty())
        paragraphs.append(QStringLiteral("WHAT THEY WROTE DOWN THEMSELVES — treat as what matters most to them:\n") + notes);
    if (!transcript.isEmpty())
        paragraphs.append(QStringLiteral("TRANSCRIPT:\n") + transcript);
    else
        paragraphs.append(QStringLiteral("TRANSCRIPT: nothing has been transcribed yet."));
    if (meeting.isRecording) {
        paragraphs.append(QStringLiteral("This meeting is still being recorded, so the transcript ends at the present moment and "
                                         "more will follow. \"Just now\" means the end of it."));
    }
    return paragraphs.join(QStringLiteral("\n\n"));
}

QJsonArray MeetingChatPrompt::build(const QString &question, const Meeting &meeting, const QString &transcript,
                                    const QList<ChatMessage> &history)
{
    QJsonArray messages{ChatCompletionEndpoint::message(QStringLiteral("system"), system(meeting, transcript))};
    for (const ChatMessage &turn : history.mid(qMax<qsizetype>(0, history.size() - historyLength))) {
        const QString role = turn.roleRaw == QLatin1String("assistant") ? QStringLiteral("assistant") : QStringLiteral("user");
        messages.append(ChatCompletionEndpoint::message(role, turn.text));
    }
    messages.append(ChatCompletionEndpoint::message(QStringLiteral("user"), question));
    return messages;
}
