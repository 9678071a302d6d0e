#include "ConferenceLink.h"

#include "CalendarStore.h"

namespace ondel::ConferenceLink {

namespace {

// A link longer than this is no join link; skipping it keeps hostile text cheap.
constexpr qsizetype kMaxLinkLength = 4096;

bool isAsciiAlnum(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9');
}

// Characters that may stand in a link as written in text: printable ASCII without spaces,
// quotes, angle brackets and the other delimiters people put around links.
bool isLinkChar(QChar c)
{
    const char16_t u = c.unicode();
    if (u <= 0x20 || u >= 0x7f)
        return false;
    switch (u) {
    case '<': case '>': case '"': case '{': case '}': case '|': case '\\': case '^': case '`':
        return false;
    default:
        return true;
    }
}

bool startsWithAt(QStringView text, qsizetype at, QLatin1StringView word)
{
    return text.size() - at >= word.size() && text.mid(at, word.size()).compare(word, Qt::CaseInsensitive) == 0;
}

// Drops what closes the sentence rather than the link: trailing punctuation, and a closing
// bracket that opened before the link.
QStringView trimTrailing(QStringView link)
{
    qsizetype parens = link.count(u'(') - link.count(u')');
    qsizetype brackets = link.count(u'[') - link.count(u']');
    while (!link.isEmpty()) {
        const QChar last = link.back();
        if (QStringView(u".,;:!?'*").contains(last)) {
            link.chop(1);
        } else if (last == u')' && parens < 0) {
            link.chop(1);
            ++parens;
        } else if (last == u']' && brackets < 0) {
            link.chop(1);
            ++brackets;
        } else {
            break;
        }
    }
    return link;
}

// "a.example.com" and the like: labels of letters, digits and hyphens, at least two, the last
// of letters only.
bool isDomainName(QStringView host)
{
    if (host.isEmpty() || host.size() > 253)
        return false;
    qsizetype labels = 0;
    qsizetype start = 0;
    while (start <= host.size()) {
        qsizetype end = host.indexOf(u'.', start);
        if (end < 0)
            end = host.size();
        const QStringView label = host.mid(start, end - start);
        if (label.isEmpty() || label.size() > 63 || label.front() == u'-' || label.back() == u'-')
            return false;
        for (QChar c : label) {
            if (!isAsciiAlnum(c) && c != u'-')
                return false;
        }
        ++labels;
        if (end == host.size()) {
            if (label.size() < 2)
                return false;
            for (QChar c : label) {
                if (!c.isLetter())
                    return false;
            }
            break;
        }
        start = end + 1;
    }
    return labels >= 2;
}

std::optional<QUrl> parsed(const QString &text)
{
    const QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme().isEmpty())
        return std::nullopt;
    return url;
}

// A link with its scheme written out, from `at` to the end of `run`.
std::optional<QUrl> schemeLink(QStringView run, qsizetype at)
{
    const QStringView link = trimTrailing(run.mid(at));
    if (link.size() > kMaxLinkLength)
        return std::nullopt;
    const std::optional<QUrl> url = parsed(link.toString());
    if (!url)
        return std::nullopt;
    // "https://" alone is no link; "facetime:" needs at least a number or an address after it.
    const bool facetime = url->scheme() == QLatin1String("facetime");
    if (url->host().isEmpty() && (!facetime || url->path().isEmpty()))
        return std::nullopt;
    return url;
}

// A name written without a scheme ("zoom.us/j/1", "www.example.com"), as a web link.
std::optional<QUrl> bareLink(QStringView run)
{
    while (!run.isEmpty() && !isAsciiAlnum(run.front()))
        run = run.mid(1);
    run = trimTrailing(run);
    if (run.isEmpty() || run.size() > kMaxLinkLength)
        return std::nullopt;
    // An address ("ann@zoom.us") is no web link; neither is "user:password@host" without a scheme.
    const qsizetype pathStart = run.indexOf(u'/');
    if (run.left(pathStart < 0 ? run.size() : pathStart).contains(u'@'))
        return std::nullopt;
    qsizetype hostEnd = 0;
    while (hostEnd < run.size() && (isAsciiAlnum(run[hostEnd]) || run[hostEnd] == u'.' || run[hostEnd] == u'-'))
        ++hostEnd;
    if (hostEnd < run.size() && !QStringView(u"/?#:").contains(run[hostEnd]))
        return std::nullopt;
    if (!isDomainName(run.left(hostEnd)))
        return std::nullopt;
    return parsed(QStringLiteral("http://") + run.toString());
}

// The links in one run of link characters.
void linksInRun(QStringView run, QList<QUrl> &found)
{
    // The first written-out scheme that starts a word; what stands before it may be a bare name.
    for (qsizetype i = 0; i < run.size(); ++i) {
        if (i > 0 && isAsciiAlnum(run[i - 1]))
            continue;
        const QChar c = run[i];
        if (c != u'h' && c != u'H' && c != u'f' && c != u'F')
            continue;
        if (startsWithAt(run, i, QLatin1StringView("https://")) || startsWithAt(run, i, QLatin1StringView("http://"))
            || startsWithAt(run, i, QLatin1StringView("facetime:"))) {
            if (i > 0)
                linksInRun(run.left(i), found);
            if (std::optional<QUrl> url = schemeLink(run, i))
                found.append(*url);
            return;
        }
    }
    if (std::optional<QUrl> url = bareLink(run))
        found.append(*url);
}

}  // namespace

const QStringList &knownHosts()
{
    static const QStringList hosts = {
        QStringLiteral("zoom.us"),
        QStringLiteral("meet.google.com"),
        QStringLiteral("teams.microsoft.com"),
        QStringLiteral("teams.live.com"),
        QStringLiteral("webex.com"),
        QStringLiteral("facetime.apple.com"),
    };
    return hosts;
}

bool matches(const QUrl &url)
{
    const QString host = url.host().toLower();
    if (!host.isEmpty()) {
        for (const QString &known : knownHosts()) {
            if (host == known || (host.endsWith(known) && host.at(host.size() - known.size() - 1) == u'.'))
                return true;
        }
        return false;
    }
    return url.scheme() == QLatin1String("facetime");
}

QList<QUrl> findLinks(QStringView text)
{
    QList<QUrl> found;
    qsizetype i = 0;
    while (i < text.size()) {
        if (!isLinkChar(text[i])) {
            ++i;
            continue;
        }
        qsizetype end = i;
        while (end < text.size() && isLinkChar(text[end]))
            ++end;
        // A run far too long to hold a link (a blob of base64, a wall of dots) is passed over
        // whole, so that no text costs more than one pass.
        if (end - i <= kMaxLinkLength * 2)
            linksInRun(text.mid(i, end - i), found);
        i = end;
    }
    return found;
}

std::optional<QUrl> firstConferenceURL(QStringView text)
{
    for (const QUrl &url : findLinks(text)) {
        if (matches(url))
            return url;
    }
    return std::nullopt;
}

std::optional<QUrl> detect(const CalendarStoreEvent &event)
{
    if (!event.url.isEmpty() && matches(event.url))
        return event.url;
    if (event.location) {
        if (std::optional<QUrl> url = firstConferenceURL(*event.location))
            return url;
    }
    if (event.notes)
        return firstConferenceURL(*event.notes);
    return std::nullopt;
}

}  // namespace ondel::ConferenceLink
