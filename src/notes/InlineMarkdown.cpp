#include "InlineMarkdown.h"

#include <QHash>
#include <QRegularExpression>
#include <QUrl>

#include <array>
#include <vector>

namespace {

// Links inside link text are rare and their cost grows with depth, so nesting stops here.
constexpr int kMaxLinkDepth = 4;
// A destination and title longer than this make no link; it keeps the scan of each "]" short.
constexpr qsizetype kMaxDestinationLength = 2048;

enum class Mark { Strong, Emphasis };

// The notes are the model's writing: a link there may only lead to the web or to a mail, never
// to a file, a script or a scheme that another program acts on. Others stay as their text.
bool opensAsLink(const QString &destination)
{
    const QString scheme = QUrl(destination).scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https") || scheme == QLatin1String("mailto");
}

struct Node
{
    enum class Type { Text, Delimiter, Code, Link };
    Type type = Type::Text;
    QString text; // Text and Code: the characters; Link: the destination
    QList<InlineRun> inner; // Link: its text, styled
    // Delimiter runs of '*' or '_'
    QChar ch;
    int count = 0;
    int original = 0;
    bool canOpen = false;
    bool canClose = false;
    QList<Mark> opens;
    QList<Mark> closes;
};

Node leaf(Node::Type type, const QString &text)
{
    Node node;
    node.type = type;
    node.text = text;
    return node;
}

InlineRun styled(const QString &text, bool strong = false, bool emphasis = false, bool code = false)
{
    InlineRun run;
    run.text = text;
    run.strong = strong;
    run.emphasis = emphasis;
    run.code = code;
    return run;
}

bool isAsciiPunctuation(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x21 && u <= 0x2F) || (u >= 0x3A && u <= 0x40) || (u >= 0x5B && u <= 0x60) || (u >= 0x7B && u <= 0x7E);
}

bool isPunctuation(QChar c)
{
    return c.isPunct() || c.isSymbol();
}

QList<InlineRun> parseRuns(QStringView s, int depth);

// Matching "[" and "]" by position, in one pass; escaped brackets do not count.
QHash<qsizetype, qsizetype> matchBrackets(QStringView s)
{
    QHash<qsizetype, qsizetype> pairs;
    std::vector<qsizetype> open;
    for (qsizetype i = 0; i < s.size(); ++i) {
        const QChar c = s[i];
        if (c == QLatin1Char('\\') && i + 1 < s.size() && isAsciiPunctuation(s[i + 1])) {
            ++i;
        } else if (c == QLatin1Char('[')) {
            open.push_back(i);
        } else if (c == QLatin1Char(']') && !open.empty()) {
            pairs.insert(open.back(), i);
            open.pop_back();
        }
    }
    return pairs;
}

// "(destination "title")" from `p`; the end just past ")" or -1.
qsizetype linkTail(QStringView s, qsizetype p, QString *destination)
{
    const qsizetype start = p;
    auto tooLong = [&] { return p - start > kMaxDestinationLength; };
    auto skipBlanks = [&] {
        while (p < s.size() && (s[p] == QLatin1Char(' ') || s[p] == QLatin1Char('\t')))
            ++p;
    };
    if (p >= s.size() || s[p] != QLatin1Char('('))
        return -1;
    ++p;
    skipBlanks();
    if (p < s.size() && s[p] == QLatin1Char('<')) {
        const qsizetype from = ++p;
        while (p < s.size() && s[p] != QLatin1Char('>') && s[p] != QLatin1Char('<') && !tooLong())
            p += (s[p] == QLatin1Char('\\') && p + 1 < s.size()) ? 2 : 1;
        if (p >= s.size() || s[p] != QLatin1Char('>'))
            return -1;
        *destination = s.mid(from, p - from).toString();
        ++p;
    } else {
        const qsizetype from = p;
        int parens = 0;
        while (p < s.size() && !s[p].isSpace() && !tooLong()) {
            const QChar c = s[p];
            if (c == QLatin1Char('\\') && p + 1 < s.size()) {
                p += 2;
                continue;
            }
            if (c == QLatin1Char('('))
                ++parens;
            if (c == QLatin1Char(')') && parens-- == 0)
                break;
            ++p;
        }
        *destination = s.mid(from, p - from).toString();
    }
    skipBlanks();
    if (p < s.size() && (s[p] == QLatin1Char('"') || s[p] == QLatin1Char('\'') || s[p] == QLatin1Char('('))) {
        const QChar close = s[p] == QLatin1Char('(') ? QLatin1Char(')') : s[p];
        ++p;
        while (p < s.size() && s[p] != close && !tooLong())
            p += (s[p] == QLatin1Char('\\') && p + 1 < s.size()) ? 2 : 1;
        if (p >= s.size() || s[p] != close)
            return -1;
        ++p;
        skipBlanks();
    }
    if (p >= s.size() || s[p] != QLatin1Char(')') || tooLong())
        return -1;
    return p + 1;
}

QList<Node> tokenize(QStringView s, int depth)
{
    static const QRegularExpression autolink(QStringLiteral("\\A<([A-Za-z][A-Za-z0-9+.\\-]{1,31}:[^\\s<>]{0,2048})>"));

    // Backtick runs by length, so a code span finds its closing run without rescanning.
    QHash<qsizetype, std::vector<qsizetype>> backtickRuns;
    for (qsizetype i = 0; i < s.size();) {
        if (s[i] != QLatin1Char('`')) {
            ++i;
            continue;
        }
        qsizetype j = i;
        while (j < s.size() && s[j] == QLatin1Char('`'))
            ++j;
        backtickRuns[j - i].push_back(i);
        i = j;
    }
    const QHash<qsizetype, qsizetype> brackets = depth < kMaxLinkDepth ? matchBrackets(s) : QHash<qsizetype, qsizetype>();

    QList<Node> nodes;
    QString pending;
    auto flush = [&] {
        if (!pending.isEmpty()) {
            nodes.append(leaf(Node::Type::Text, pending));
            pending.clear();
        }
    };

    const qsizetype n = s.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = s[i];
        if (c == QLatin1Char('\\') && i + 1 < n && isAsciiPunctuation(s[i + 1])) {
            pending += s[i + 1];
            i += 2;
            continue;
        }
        if (c == QLatin1Char('`')) {
            qsizetype run = 0;
            while (i + run < n && s[i + run] == QLatin1Char('`'))
                ++run;
            const std::vector<qsizetype> &same = backtickRuns[run];
            const auto closing = std::upper_bound(same.begin(), same.end(), i);
            if (closing == same.end()) {
                pending += s.mid(i, run);
                i += run;
                continue;
            }
            QString content = s.mid(i + run, *closing - i - run).toString();
            content.replace(QLatin1Char('\n'), QLatin1Char(' '));
            if (content.size() >= 2 && content.startsWith(QLatin1Char(' ')) && content.endsWith(QLatin1Char(' '))
                && !content.trimmed().isEmpty())
                content = content.mid(1, content.size() - 2);
            flush();
            nodes.append(leaf(Node::Type::Code, content));
            i = *closing + run;
            continue;
        }
        if (c == QLatin1Char('*') || c == QLatin1Char('_')) {
            qsizetype end = i;
            while (end < n && s[end] == c)
                ++end;
            const bool prevSpace = i == 0 || s[i - 1].isSpace();
            const bool nextSpace = end == n || s[end].isSpace();
            const bool prevPunct = !prevSpace && isPunctuation(s[i - 1]);
            const bool nextPunct = !nextSpace && isPunctuation(s[end]);
            const bool left = !nextSpace && (!nextPunct || prevSpace || prevPunct);
            const bool right = !prevSpace && (!prevPunct || nextSpace || nextPunct);
            Node d;
            d.type = Node::Type::Delimiter;
            d.ch = c;
            d.count = d.original = int(end - i);
            // "_" does not open or close inside a word (snake_case stays as it is).
            d.canOpen = c == QLatin1Char('*') ? left : left && (!right || prevPunct);
            d.canClose = c == QLatin1Char('*') ? right : right && (!left || nextPunct);
            flush();
            nodes.append(d);
            i = end;
            continue;
        }
        if (c == QLatin1Char('<')) {
            const QRegularExpressionMatch m = autolink.match(s.mid(i));
            if (m.hasMatch()) {
                const QString url = m.captured(1);
                flush();
                Node link = leaf(Node::Type::Link, url);
                link.inner = {styled(url)};
                nodes.append(link);
                i += m.capturedLength(0);
                continue;
            }
        }
        if (c == QLatin1Char('[')) {
            const auto close = brackets.constFind(i);
            QString destination;
            const qsizetype end = close == brackets.cend() ? -1 : linkTail(s, *close + 1, &destination);
            if (end > 0) {
                flush();
                Node link = leaf(Node::Type::Link, destination);
                link.inner = parseRuns(s.mid(i + 1, *close - i - 1), depth + 1);
                nodes.append(link);
                i = end;
                continue;
            }
        }
        pending += c;
        ++i;
    }
    flush();
    return nodes;
}

// CommonMark's "process emphasis": pairs closers with the nearest fitting opener, from the left.
void processEmphasis(QList<Node> &nodes)
{
    std::vector<qsizetype> d;
    for (qsizetype i = 0; i < nodes.size(); ++i) {
        if (nodes[i].type == Node::Type::Delimiter)
            d.push_back(i);
    }
    const int m = int(d.size());
    std::vector<int> prev(m), next(m);
    for (int k = 0; k < m; ++k) {
        prev[k] = k - 1;
        next[k] = k + 1;
    }
    auto unlink = [&](int k) {
        if (prev[k] >= 0)
            next[prev[k]] = next[k];
        if (next[k] < m)
            prev[next[k]] = prev[k];
    };
    // Where the search for an opener last failed, by character, closer-can-open and length % 3:
    // no opener below it can match, so each search stays short.
    std::array<int, 12> bottom;
    bottom.fill(-1);

    int c = 0;
    while (c < m) {
        Node &closer = nodes[d[c]];
        if (!closer.canClose) {
            c = next[c];
            continue;
        }
        const int key = (closer.ch == QLatin1Char('*') ? 0 : 6) + (closer.canOpen ? 3 : 0) + closer.original % 3;
        int found = -1;
        for (int k = prev[c]; k >= 0 && k > bottom[key]; k = prev[k]) {
            const Node &o = nodes[d[k]];
            if (o.ch != closer.ch || !o.canOpen || o.count == 0)
                continue;
            const bool ruleOfThree = (o.canClose || closer.canOpen) && (o.original + closer.original) % 3 == 0
                && !(o.original % 3 == 0 && closer.original % 3 == 0);
            if (!ruleOfThree) {
                found = k;
                break;
            }
        }
        if (found < 0) {
            bottom[key] = prev[c];
            const int after = next[c];
            if (!closer.canOpen)
                unlink(c);
            c = after;
            continue;
        }
        Node &opener = nodes[d[found]];
        const int use = opener.count >= 2 && closer.count >= 2 ? 2 : 1;
        const Mark mark = use == 2 ? Mark::Strong : Mark::Emphasis;
        opener.count -= use;
        closer.count -= use;
        opener.opens.append(mark);
        closer.closes.append(mark);
        // Delimiters between the pair can no longer pair with anything.
        next[found] = c;
        prev[c] = found;
        if (opener.count == 0)
            unlink(found);
        if (closer.count == 0) {
            const int after = next[c];
            unlink(c);
            c = after;
        }
    }
}

void append(QList<InlineRun> &runs, InlineRun run)
{
    if (run.text.isEmpty())
        return;
    if (!runs.isEmpty() && runs.last().sameStyle(run))
        runs.last().text += run.text;
    else
        runs.append(std::move(run));
}

QList<InlineRun> flatten(const QList<Node> &nodes)
{
    QList<InlineRun> runs;
    int strong = 0;
    int emphasis = 0;
    auto adjust = [&](const QList<Mark> &marks, int step) {
        for (Mark mark : marks)
            (mark == Mark::Strong ? strong : emphasis) += step;
    };
    for (const Node &node : nodes) {
        switch (node.type) {
        case Node::Type::Text:
            append(runs, styled(node.text, strong > 0, emphasis > 0));
            break;
        case Node::Type::Code:
            append(runs, styled(node.text, strong > 0, emphasis > 0, true));
            break;
        case Node::Type::Link:
            for (InlineRun run : node.inner) {
                run.strong = run.strong || strong > 0;
                run.emphasis = run.emphasis || emphasis > 0;
                run.link = opensAsLink(node.text) ? node.text : QString();
                append(runs, std::move(run));
            }
            break;
        case Node::Type::Delimiter:
            // A closer gives up its first characters, an opener its last; what is left is text.
            adjust(node.closes, -1);
            append(runs, styled(QString(node.count, node.ch), strong > 0, emphasis > 0));
            adjust(node.opens, +1);
            break;
        }
    }
    return runs;
}

QList<InlineRun> parseRuns(QStringView s, int depth)
{
    QList<Node> nodes = tokenize(s, depth);
    processEmphasis(nodes);
    return flatten(nodes);
}

} // namespace

std::optional<QList<InlineRun>> InlineMarkdown::parse(const QString &text)
{
    if (!text.isValidUtf16())
        return std::nullopt;
    return parseRuns(text, 0);
}

QList<InlineRun> InlineMarkdown::runs(const QString &text)
{
    if (std::optional<QList<InlineRun>> parsed = parse(text))
        return *parsed;
    if (text.isEmpty())
        return {};
    return {styled(text)};
}
