#include "SummaryPrompts.h"

#include "Graphemes.h"
#include "SummarySection.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

const QString kOpening = QStringLiteral(
    "You are writing up a meeting for the person who recorded it.\n\n"
    "LANGUAGE. Write the entire summary in the language that was spoken — headings included. A Vietnamese meeting "
    "produces a Vietnamese summary; an English one produces English. Never translate what was said. The headings "
    "below are given in English; render them in the meeting's language.\n\n"
    "WHAT THEY WROTE DOWN. If a USER NOTES block appears before the transcript, that is what this person thought was "
    "worth writing while it was happening — the clearest signal of what matters to them that exists. Build the "
    "summary around it: keep their points and their emphasis, put them in order, and fill them out from the "
    "transcript. Where a note is thin, the transcript completes it. Where a note is not supported by the transcript, "
    "keep the note and add nothing around it — do not invent the detail that would make it sound finished.\n\n"
    "NAMING PEOPLE. The transcript is split by where the sound came from — a microphone and the meeting audio — and "
    "rendered as speaker labels. That split is a reasonable guess and is sometimes wrong, so it is not enough to name "
    "anyone by itself. Use a real name only when the content earns it: someone introduces themselves, is addressed by "
    "name, or the attendee list plus the conversation makes it unambiguous. Otherwise write about what was said "
    "rather than who said it. A wrong name is worse than no name.\n\n"
    "SECTIONS. Use these, in this order, and skip any that this meeting has nothing for. An empty heading is worse "
    "than a missing one.\n\n");

const QString kClosing = QStringLiteral(
    "\n\nBe concise. Bullets, not paragraphs. Action items as a checklist (`- [ ]`). No preamble, no closing summary "
    "of the summary.");

const QString kAttribution = QStringLiteral(
    "When the transcript supports it, attribute statements and action items to these attendees by name instead of "
    "generic speaker labels. Preserve Vietnamese names and their diacritics exactly as written above. Never attribute "
    "anything to a person not in this list or the transcript.");

const QString kTitlePrompt = QStringLiteral(
    "Generate a concise meeting title (max 8 words) from this transcript. CRITICAL: You MUST write the title in the "
    "SAME language as the transcript. If the transcript is in Vietnamese, the title MUST be in Vietnamese. If the "
    "transcript is in English, the title MUST be in English. NEVER translate to a different language. Output ONLY the "
    "title, nothing else.");

bool presentAndNotEmpty(const std::optional<QString> &value)
{
    return value && !value->isEmpty();
}

} // namespace

std::optional<QString> SummaryPrompts::calendarContext(const Meeting &meeting, const QLocale &locale)
{
    if (!meeting.calendarEventId)
        return std::nullopt;
    QStringList lines{QStringLiteral("Meeting context from the calendar:"), QStringLiteral("- Event title: ") + meeting.title};
    if (presentAndNotEmpty(meeting.organizer))
        lines.append(QStringLiteral("- Organizer: ") + *meeting.organizer);
    if (!meeting.attendeeNames.isEmpty())
        lines.append(QStringLiteral("- Attendees: ") + meeting.attendeeNames.join(QStringLiteral(", ")));
    if (meeting.scheduledStart)
        lines.append(QStringLiteral("- Scheduled: ") + scheduledText(*meeting.scheduledStart, locale));
    if (presentAndNotEmpty(meeting.calendarName))
        lines.append(QStringLiteral("- Calendar: ") + *meeting.calendarName);
    // Stands even without attendees: it also forbids names that appear nowhere.
    lines.append(kAttribution);
    return lines.join(QLatin1Char('\n'));
}

QString SummaryPrompts::summaryUserContent(const QString &transcript, const QString &userNotes)
{
    const QString notes = userNotes.trimmed();
    if (notes.isEmpty())
        return transcript;
    return QStringLiteral("=== USER NOTES ===\n") + notes + QStringLiteral("\n\n=== TRANSCRIPT ===\n") + transcript;
}

QString SummaryPrompts::notesSystemPrompt(const std::optional<QString> &calendarContext)
{
    QString prompt = kOpening + SummarySection::brief(SummarySection::all()) + kClosing;
    if (calendarContext)
        prompt += QStringLiteral("\n\n") + *calendarContext;
    return prompt;
}

QString SummaryPrompts::titleSystemPrompt()
{
    return kTitlePrompt;
}

QString SummaryPrompts::titleUserContent(const QString &transcript)
{
    return Graphemes::left(transcript, titleTranscriptLength);
}

QString SummaryPrompts::scheduledText(const QDateTime &when, const QLocale &locale)
{
    // The locale's long date, without the weekday and with the month abbreviated ("Mar 2, 2026").
    static const QRegularExpression weekday(QStringLiteral("d{4}[,.]?\\s*"));
    QString format = locale.dateFormat(QLocale::LongFormat);
    format.remove(weekday);
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    static const QRegularExpression looseEnds(QStringLiteral("^[\\s,]+|[\\s,]+$"));
    format.remove(looseEnds);
    const QDateTime local = when.toLocalTime();
    return locale.toString(local.date(), format) + QLatin1Char(' ') + locale.toString(local.time(), QLocale::ShortFormat);
}
