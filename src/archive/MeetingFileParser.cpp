#include "MeetingFileParser.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

#include <limits>

namespace {

// Only blanks and tabs: other white space belongs to the value.
QString trimBlanks(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    auto blank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin).toString();
}

// A decimal integer with an optional sign and nothing else around it. By hand: it runs twice
// for every transcript line of a recovery.
std::optional<qint64> parseInteger(QStringView text)
{
    qsizetype i = 0;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('+') || text.at(i) == QLatin1Char('-')))
        negative = text.at(i++) == QLatin1Char('-');
    if (i == text.size())
        return std::nullopt;
    qint64 value = 0;
    for (; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c < u'0' || c > u'9')
            return std::nullopt;
        if (value > (std::numeric_limits<qint64>::max() - (c - u'0')) / 10)
            return std::nullopt;
        value = value * 10 + (c - u'0');
    }
    return negative ? -value : value;
}

std::optional<QDateTime> parseInternetDate(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(R"(^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}(Z|[+-]\d{2}:\d{2})$)"));
    if (!form.match(text).hasMatch())
        return std::nullopt;
    const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    if (!date.isValid())
        return std::nullopt;
    return date.toUTC();
}

std::optional<QUuid> parseUuid(const QString &text)
{
    static const QRegularExpression form(
        QStringLiteral(R"(^[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}$)"));
    if (!form.match(text).hasMatch())
        return std::nullopt;
    return QUuid::fromString(text);
}

QString unquote(const QString &value)
{
    if (value.size() < 2 || !value.startsWith(QLatin1Char('"')) || !value.endsWith(QLatin1Char('"')))
        return value;
    QString inner = value.mid(1, value.size() - 2);
    inner.replace(QStringLiteral("\\\""), QStringLiteral("\""));
    inner.replace(QStringLiteral("\\\\"), QStringLiteral("\\"));
    return inner;
}

} // namespace

std::optional<MeetingFileParser::Parsed> MeetingFileParser::parse(const QString &text, const QDateTime &now)
{
    const QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.first() != QLatin1String("---"))
        return std::nullopt;
    qsizetype close = -1;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        if (lines.at(i) == QLatin1String("---")) {
            close = i;
            break;
        }
    }
    if (close < 0)
        return std::nullopt;

    QHash<QString, QString> fields;
    for (qsizetype i = 1; i < close; ++i) {
        const QString &line = lines.at(i);
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0)
            continue;
        fields.insert(trimBlanks(QStringView(line).left(colon)), unquote(trimBlanks(QStringView(line).mid(colon + 1))));
    }

    const auto field = [&](const char *key) -> std::optional<QString> {
        const auto it = fields.constFind(QLatin1String(key));
        return it == fields.cend() ? std::nullopt : std::optional<QString>(*it);
    };
    const QString title = field("title").value_or(QStringLiteral("Untitled"));
    const std::optional<QString> dateText = field("date");
    const QDateTime date = (dateText ? parseInternetDate(*dateText) : std::nullopt).value_or(now);
    const std::optional<QString> minutesText = field("duration_minutes");
    const qint64 minutes = (minutesText ? parseInteger(*minutesText) : std::nullopt).value_or(0);

    Parsed parsed;
    Meeting &meeting = parsed.meeting;
    meeting = Meeting(title, date);
    if (const std::optional<QString> idText = field("id"))
        if (const std::optional<QUuid> id = parseUuid(*idText))
            meeting.id = *id;
    meeting.duration = double(minutes) * 60.0;
    meeting.source = QStringLiteral("imported");

    const QString body = lines.mid(close + 1).join(QLatin1Char('\n'));
    meeting.summary = extractSummary(body);
    parsed.turns = extractSegments(body);
    return parsed;
}

std::optional<QString> MeetingFileParser::extractSummary(const QString &body)
{
    const qsizetype start = body.indexOf(QLatin1String("## Summary"));
    if (start < 0)
        return std::nullopt;
    QStringView rest = QStringView(body).mid(start + 10);
    if (const qsizetype end = rest.indexOf(QLatin1String("\n## Transcript")); end >= 0)
        rest = rest.left(end);
    const QString summary = rest.trimmed().toString();
    if (summary.isEmpty())
        return std::nullopt;
    return summary;
}

QList<MeetingFileParser::Turn> MeetingFileParser::extractSegments(const QString &body)
{
    const qsizetype start = body.indexOf(QLatin1String("## Transcript"));
    if (start < 0)
        return {};
    // On to the end of the file, past "## Chat": a chat line shaped like a turn is read as one.
    QList<Turn> turns;
    for (const QStringView line : QStringView(body).mid(start + 13).split(QLatin1Char('\n')))
        if (std::optional<Turn> turn = parseTurn(line.toString()))
            turns.append(std::move(*turn));
    return turns;
}

std::optional<MeetingFileParser::Turn> MeetingFileParser::parseTurn(const QString &line)
{
    if (!line.startsWith(QLatin1Char('[')))
        return std::nullopt;
    const qsizetype bracket = line.indexOf(QLatin1Char(']'));
    if (bracket < 0)
        return std::nullopt;
    const QStringView clock = QStringView(line).mid(1, bracket - 1);
    const qsizetype colon = clock.indexOf(QLatin1Char(':'));
    if (colon < 0 || clock.indexOf(QLatin1Char(':'), colon + 1) >= 0)
        return std::nullopt; // exactly two parts
    const std::optional<qint64> minutes = parseInteger(clock.left(colon));
    const std::optional<qint64> seconds = parseInteger(clock.mid(colon + 1));
    if (!minutes || !seconds)
        return std::nullopt;

    const QString rest = trimBlanks(QStringView(line).mid(bracket + 1));
    if (!rest.startsWith(QLatin1String("**")))
        return std::nullopt;
    const qsizetype labelEnd = rest.indexOf(QLatin1String(":**"));
    if (labelEnd < 0)
        return std::nullopt;
    const QString label = rest.mid(2, labelEnd - 2);
    return Turn{speakerFor(label), double(*minutes) * 60.0 + double(*seconds), trimBlanks(QStringView(rest).mid(labelEnd + 3))};
}

Speaker MeetingFileParser::speakerFor(const QString &label)
{
    if (label == QLatin1String("Speaker A"))
        return Speaker::me();
    if (label == QLatin1String("Speaker B"))
        return Speaker::them();
    // "Me" and "Them" map as stored values do; any other label is a name, the empty one too.
    return Speaker::fromRaw(label).value_or(Speaker::other(QString()));
}
