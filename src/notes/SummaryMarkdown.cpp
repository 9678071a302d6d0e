#include "SummaryMarkdown.h"

#include "InlineMarkdown.h"

namespace {

// Spaces and tabs only: a lone carriage return is not trimmed.
bool isBlank(QChar c)
{
    return c == QLatin1Char('\t') || c.category() == QChar::Separator_Space;
}

QStringView trimBlanks(QStringView s)
{
    qsizetype begin = 0;
    qsizetype end = s.size();
    while (begin < end && isBlank(s[begin]))
        ++begin;
    while (end > begin && isBlank(s[end - 1]))
        --end;
    return s.mid(begin, end - begin);
}

std::optional<SummaryBlock> heading(QStringView line)
{
    qsizetype level = 0;
    while (level < line.size() && line[level] == QLatin1Char('#'))
        ++level;
    if (level > 3 || level >= line.size() || !isBlank(line[level]))
        return std::nullopt;
    return SummaryBlock{SummaryBlock::Kind::Heading, trimBlanks(line.mid(level)).toString()};
}

std::optional<SummaryBlock> listItem(QStringView line)
{
    if (line.size() < 2 || (line[0] != QLatin1Char('-') && line[0] != QLatin1Char('*')) || !isBlank(line[1]))
        return std::nullopt;
    const QStringView text = trimBlanks(line.mid(2));
    // "[ ]", "[x]" or "[X]", with or without a blank after it.
    if (text.size() >= 3 && text[0] == QLatin1Char('[') && text[2] == QLatin1Char(']')) {
        const QChar mark = text[1];
        if (mark == QLatin1Char(' ') || mark == QLatin1Char('x') || mark == QLatin1Char('X'))
            return SummaryBlock{SummaryBlock::Kind::Task, trimBlanks(text.mid(3)).toString(), mark != QLatin1Char(' ')};
    }
    return SummaryBlock{SummaryBlock::Kind::Bullet, text.toString()};
}

} // namespace

QList<SummaryBlock> SummaryMarkdown::parse(const QString &markdown)
{
    QString text = markdown;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    QList<SummaryBlock> blocks;
    for (const QStringView raw : QStringView(text).tokenize(QLatin1Char('\n'))) {
        const QStringView line = trimBlanks(raw);
        if (line.isEmpty())
            continue;
        if (line[0] == QLatin1Char('#')) {
            if (std::optional<SummaryBlock> block = heading(line)) {
                blocks.append(*block);
                continue;
            }
        }
        if (std::optional<SummaryBlock> block = listItem(line)) {
            blocks.append(*block);
            continue;
        }
        blocks.append(SummaryBlock{SummaryBlock::Kind::Paragraph, line.toString()});
    }
    return blocks;
}

QList<InlineRun> SummaryMarkdown::inlineRuns(const QString &text)
{
    return InlineMarkdown::runs(text);
}
