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

// "%02lld", without a format to parse or a string to make for each line.
void appendTwoDigits(QString &out, qint64 value)
{
    if (value < 0 || value > 99) {
        out += QString::number(value);
        return;
    }
    out += QChar(u'0' + char16_t(value / 10));
    out += QChar(u'0' + char16_t(value % 10));
}

} // namespace

void MeetingMarkdown::appendTurn(QString &out, const ArchiveSnapshot::Turn &turn)
{
    const qint64 total = truncated(turn.timestamp);
    out += QLatin1Char('[');
    appendTwoDigits(out, total / 60);
    out += QLatin1Char(':');
    appendTwoDigits(out, total % 60);
    out += u"] **";
    out += turn.label;
    out += u":** ";
    out += turn.text;
}

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
    QString line;
    appendTurn(line, turn);
    return line;
}

QString MeetingMarkdown::isoDate(const QDateTime &date)
{
    return date.toUTC().toString(Qt::ISODate);
}

QString MeetingMarkdown::render(const ArchiveSnapshot &s)
{
    // One string grown in place: a transcript made a list of as many strings as it has lines.
    qsizetype size = 200 + 2 * s.title.size() + (s.summary ? s.summary->size() : 0) + s.userNotes.size();
    for (const ArchiveSnapshot::Turn &turn : s.turns)
        size += 16 + turn.label.size() + turn.text.size();
    for (const ArchiveSnapshot::ChatLine &line : s.chat)
        size += 8 + line.text.size();
    QString out;
    out.reserve(size);
    const auto line = [&out](const auto &...parts) {
        ((out += parts), ...);
        out += QLatin1Char('\n');
    };

    line(u"---");
    line(u"id: ", uuidText(s.id));
    line(u"title: \"", escapeTitle(s.title), u"\"");
    line(u"date: ", isoDate(s.date));
    line(u"duration_minutes: ", QString::number(wholeMinutes(s.duration)));
    line(u"app: Ondel");
    line(u"---");
    line(u"");
    line(u"# ", s.title);
    line(u"");

    // Tested as it stands: a summary of blanks is still a summary.
    if (s.summary && !s.summary->isEmpty()) {
        line(u"## Summary");
        line(u"");
        line(*s.summary);
        line(u"");
    }

    if (const QString notes = s.userNotes.trimmed(); !notes.isEmpty()) {
        line(u"## My Notes");
        line(u"");
        line(notes);
        line(u"");
    }

    if (!s.turns.isEmpty()) {
        line(u"## Transcript");
        line(u"");
        for (const ArchiveSnapshot::Turn &turn : s.turns) {
            appendTurn(out, turn);
            out += QLatin1Char('\n');
        }
        line(u"");
    }

    if (!s.chat.isEmpty()) {
        line(u"## Chat");
        line(u"");
        for (const ArchiveSnapshot::ChatLine &chatLine : s.chat) {
            const bool question = chatLine.role == QLatin1String("user");
            line(question ? u"**Q:** " : u"**A:** ", chatLine.text);
            line(u"");
        }
    }
    // Every part ends on a blank line, and the file on the last line of text.
    out.chop(1);
    return out;
}
