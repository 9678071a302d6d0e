#pragma once

#include "Meeting.h"

#include <QLocale>
#include <QString>

#include <optional>

// Every text the notes request and the title request send, and how each is put together from a
// meeting. The wording decides the notes' language, the weight of the user's own notes, and when
// people may be named, so it goes out exactly as written here.
class SummaryPrompts
{
public:
    // The title request sees only the start of a transcript.
    static constexpr qsizetype titleTranscriptLength = 2000;

    // The calendar block: none for a meeting with no linked event; a linked one always has it.
    static std::optional<QString> calendarContext(const Meeting &meeting, const QLocale &locale = QLocale());
    // The user message of the notes request.
    static QString summaryUserContent(const QString &transcript, const QString &userNotes);
    // The system prompt of the notes request, with the calendar block at its end when given.
    static QString notesSystemPrompt(const std::optional<QString> &calendarContext);
    static QString titleSystemPrompt();
    // The user message of the title request: the first characters of the transcript.
    static QString titleUserContent(const QString &transcript);
    // An abbreviated date and a short time, in `locale`, in the local time zone.
    static QString scheduledText(const QDateTime &when, const QLocale &locale);
};
