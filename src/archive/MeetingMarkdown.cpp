#include "MeetingMarkdown.h"

#include "Uuid.h"

#include <QStringList>

#include <cmath>

namespace {

// Truncation toward zero, as an integer. Values that no integer holds (NaN, huge) read as 0
// rather than as undefined behaviour.
qint64 truncated(double value)
{
    if (!std::isfinite(value) || std::fabs(value) >= 9.0e18)
        return 0;
    return qint64(value);
}

} // namespace

QString MeetingMarkdown::escapeTitle(const QString &title)
{
    QString escaped = title;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return escaped;
}

qint64 MeetingMarkdown::wholeMinutes(double seconds)
{
    return truncated(seconds) / 60;
}

QString MeetingMarkdown::turnLine(const ArchiveSnapshot::Turn &turn)
{
    const qint64 total = truncated(turn.timestamp);
    return QString::asprintf("[%02lld:%02lld] **", total / 60, total % 60) + turn.label + QStringLiteral(":** ") + turn.text;
}

QString MeetingMarkdown::isoDate(const QDateTime &date)
{
    return date.toUTC().toString(Qt::ISODate);
}

QString MeetingMarkdown::render(const ArchiveSnapshot &s)
{
    QStringList lines;
    lines.reserve(16 + s.turns.size() + 2 * s.chat.size());
    lines << QStringLiteral("---")
          << QStringLiteral("id: ") + uuidText(s.id)
          << QStringLiteral("title: \"") + escapeTitle(s.title) + QLatin1Char('"')
          << QStringLiteral("date: ") + isoDate(s.date)
          << QStringLiteral("duration_minutes: ") + QString::number(wholeMinutes(s.duration))
          << QStringLiteral("app: Ondel")
          << QStringLiteral("---")
          << QString()
          << QStringLiteral("# ") + s.title
          << QString();

    // Tested as it stands: a summary of blanks is still a summary.
    if (s.summary && !s.summary->isEmpty())
        lines << QStringLiteral("## Summary") << QString() << *s.summary << QString();

    if (const QString notes = s.userNotes.trimmed(); !notes.isEmpty())
        lines << QStringLiteral("## My Notes") << QString() << notes << QString();

    if (!s.turns.isEmpty()) {
        lines << QStringLiteral("## Transcript") << QString();
        for (const ArchiveSnapshot::Turn &turn : s.turns)
            lines << turnLine(turn);
        lines << QString();
    }

    if (!s.chat.isEmpty()) {
        lines << QStringLiteral("## Chat") << QString();
        for (const ArchiveSnapshot::ChatLine &line : s.chat) {
            const bool question = line.role == QLatin1String("user");
            lines << (question ? QStringLiteral("**Q:** ") : QStringLiteral("**A:** ")) + line.text << QString();
        }
    }
    return lines.join(QLatin1Char('\n'));
}
