#include "IcsFeed.h"

#include <QFile>
#include <QFileInfo>

namespace ondel::IcsFeed {

namespace {

// A calendar's name stands in its header; a megabyte is far past any real one.
constexpr qint64 kHeadBytes = 1024 * 1024;

QString unescapeText(const QString &value)
{
    QString out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c == u'\\' && i + 1 < value.size()) {
            const QChar next = value.at(++i);
            out += (next == u'n' || next == u'N') ? QChar(u' ') : next;
        } else {
            out += c;
        }
    }
    return out.simplified();
}

}  // namespace

Target check(const QUrl &linkOrFile)
{
    Target target;
    const QString scheme = linkOrFile.scheme().toLower();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https") || scheme == QLatin1String("webcal")
        || scheme == QLatin1String("webcals")) {
        if (linkOrFile.host().isEmpty()) {
            target.error = QStringLiteral("The calendar link has no host.");
            return target;
        }
        target.kind = Target::Kind::link;
        target.link = linkOrFile;
        if (scheme.startsWith(QLatin1String("webcal")))
            target.link.setScheme(QStringLiteral("https"));
        return target;
    }
    QString path;
    if (scheme == QLatin1String("file"))
        path = linkOrFile.toLocalFile();
    else if (scheme.isEmpty())
        path = linkOrFile.path();
    if (path.isEmpty() || !QFileInfo(path).isAbsolute()) {
        target.error = QStringLiteral("Enter a calendar link (https or webcal) or choose an .ics file.");
        return target;
    }
    target.kind = Target::Kind::file;
    target.path = QFileInfo(path).absoluteFilePath();
    return target;
}

bool looksLikeICalendar(const QByteArray &head)
{
    // A byte order mark or blank lines may come first; a NUL never does in a text calendar.
    return head.contains("BEGIN:VCALENDAR") && !head.contains('\0');
}

QString calendarName(const QByteArray &text)
{
    const QByteArray key = "X-WR-CALNAME";
    qsizetype at = 0;
    while ((at = text.indexOf(key, at)) >= 0) {
        const bool lineStart = at == 0 || text.at(at - 1) == '\n';
        const qsizetype after = at + key.size();
        if (!lineStart || after >= text.size() || (text.at(after) != ':' && text.at(after) != ';')) {
            at = after;
            continue;
        }
        // The logical line: folded lines go on after a line break and one space or tab.
        QByteArray line;
        qsizetype i = at;
        while (i < text.size()) {
            const char c = text.at(i);
            if (c == '\r') {
                ++i;
                continue;
            }
            if (c == '\n') {
                if (i + 1 < text.size() && (text.at(i + 1) == ' ' || text.at(i + 1) == '\t')) {
                    i += 2;
                    continue;
                }
                break;
            }
            line += c;
            ++i;
        }
        // The value follows the first colon outside quoted parameter values.
        bool quoted = false;
        for (qsizetype k = key.size(); k < line.size(); ++k) {
            if (line.at(k) == '"')
                quoted = !quoted;
            else if (line.at(k) == ':' && !quoted)
                return unescapeText(QString::fromUtf8(line.mid(k + 1)));
        }
        return {};
    }
    return {};
}

QString fallbackName(const Target &target)
{
    if (target.kind == Target::Kind::link)
        return target.link.host();
    return QFileInfo(target.path).completeBaseName();
}

FileCheck readFile(const QString &path)
{
    FileCheck result;
    const QFileInfo info(path);
    if (!info.exists()) {
        result.error = QStringLiteral("The file \"%1\" doesn't exist.").arg(path);
        return result;
    }
    QFile file(path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly)) {
        result.error = QStringLiteral("The file \"%1\" can't be read.").arg(path);
        return result;
    }
    const QByteArray head = file.read(kHeadBytes);
    if (!looksLikeICalendar(head)) {
        result.error = QStringLiteral("The file \"%1\" isn't an iCalendar (.ics) file.").arg(path);
        return result;
    }
    result.name = calendarName(head);
    return result;
}

}  // namespace ondel::IcsFeed
