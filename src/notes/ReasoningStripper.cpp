#include "ReasoningStripper.h"

#include "Graphemes.h"

namespace {

const QString kOpenTag = QStringLiteral("<think>");
const QString kCloseTag = QStringLiteral("</think>");

bool isNewline(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

} // namespace

const QStringList &ReasoningStripper::markers()
{
    static const QStringList list{
        QStringLiteral("here's a thinking process"),
        QStringLiteral("here is a thinking process"),
        QStringLiteral("here's my thinking"),
        QStringLiteral("here is my thinking"),
        QStringLiteral("let me think"),
        QStringLiteral("let's think"),
        QStringLiteral("thinking process:"),
        QStringLiteral("first, i need to"),
        QStringLiteral("okay, the user"),
        QStringLiteral("the user wants"),
        QStringLiteral("i need to analyze"),
    };
    return list;
}

QString ReasoningStripper::removeThinkTags(const QString &text)
{
    const qsizetype open = text.indexOf(kOpenTag, 0, Qt::CaseInsensitive);
    if (open < 0)
        return text;
    // The closing tag is looked for only behind the opening one: a "</think>" in front of the
    // first "<think>" would make an inverted range to cut, and a malformed answer must never
    // take the app down. Such a stray tag closes nothing and stays as text, so the answer falls
    // under the cut-off rule below and keeps everything in front of the opening tag: no answer
    // text is lost, and the reasoning behind the tag is still dropped.
    const qsizetype close = text.indexOf(kCloseTag, open + kOpenTag.size(), Qt::CaseInsensitive);
    if (close < 0)
        return text.left(open).trimmed();
    QString rest = text;
    rest.remove(open, close + kCloseTag.size() - open);
    return rest.trimmed();
}

bool ReasoningStripper::startsWithReasoning(const QString &text)
{
    const QString head = Graphemes::left(text.trimmed(), 60).toLower();
    for (const QString &marker : markers()) {
        if (head.startsWith(marker))
            return true;
    }
    return false;
}

std::optional<QString> ReasoningStripper::title(const QString &text)
{
    const QString cleaned = removeThinkTags(text).trimmed();
    if (cleaned.isEmpty() || startsWithReasoning(cleaned))
        return std::nullopt;
    qsizetype end = 0;
    while (end < cleaned.size() && !isNewline(cleaned.at(end)))
        ++end;
    const QString line = cleaned.left(end).trimmed();
    if (line.isEmpty() || startsWithReasoning(line))
        return std::nullopt;
    return line;
}

QString ReasoningStripper::notes(const QString &answer)
{
    const QString cleaned = removeThinkTags(answer.trimmed());
    if (startsWithReasoning(cleaned)) {
        const qsizetype heading = cleaned.indexOf(QStringLiteral("\n#"));
        if (heading >= 0) {
            const QString cut = cleaned.mid(heading).trimmed();
            if (!cut.isEmpty())
                return cut;
        }
    }
    return cleaned;
}
