#pragma once

#include "ArchiveSnapshot.h"

#include <QString>

// The text of one archive file: front matter, the title, then summary, own notes, transcript
// and chat, each only when there is something to show. The importer reads this back.
class MeetingMarkdown
{
public:
    static QString render(const ArchiveSnapshot &snapshot);

    // Backslashes doubled, then quotes escaped; line breaks stay as they are.
    static QString escapeTitle(const QString &title);
    // Truncated seconds, then truncated minutes; never wraps into hours.
    static qint64 wholeMinutes(double seconds);
    // "[mm:ss] **label:** text"
    static QString turnLine(const ArchiveSnapshot::Turn &turn);
    static void appendTurn(QString &out, const ArchiveSnapshot::Turn &turn);
    // UTC, whole seconds: 2026-01-05T09:30:00Z
    static QString isoDate(const QDateTime &date);
};
