#pragma once

#include "Meeting.h"
#include "Speaker.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// Reads one archive file back into a meeting: id, title, date, whole minutes, the summary and
// the transcript. A best-effort reader, deliberately looser than the writer: markers are found
// as plain substrings, and what it cannot read is dropped rather than guessed at.
class MeetingFileParser
{
public:
    struct Turn
    {
        Speaker speaker = Speaker::me();
        double timestamp = 0;
        QString text;
    };

    struct Parsed
    {
        Meeting meeting; // source "imported"
        QList<Turn> turns; // in file order
    };

    // Nothing when the text has no front matter. A missing or unreadable date reads as `now`.
    static std::optional<Parsed> parse(const QString &text, const QDateTime &now);

    // Everything after the first "## Summary" up to "\n## Transcript", trimmed; nothing if empty.
    static std::optional<QString> extractSummary(const QString &body);
    static QList<Turn> extractSegments(const QString &body);
    // "[mm:ss] **label:** text"; minutes are not limited to 59.
    static std::optional<Turn> parseTurn(const QString &line);
    static Speaker speakerFor(const QString &label);
};
