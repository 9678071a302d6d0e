#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace ondel {

// What the user offers as a new calendar, and what an iCalendar text says of itself.
namespace IcsFeed {

struct Target {
    enum class Kind { none, link, file };
    Kind kind = Kind::none;
    QUrl link;      // http or https: a webcal link is fetched over https
    QString path;   // an absolute local path
    QString error;  // set when kind is none
};

// Checks the form only (no file is opened here): an http, https or webcal link with a host, or
// a local file path (a file: URL, or a URL with no scheme holding an absolute path).
Target check(const QUrl &linkOrFile);

// Whether the start of a file can be an iCalendar stream at all.
bool looksLikeICalendar(const QByteArray &head);

// The calendar's own name (X-WR-CALNAME), unfolded and unescaped; empty when it has none.
QString calendarName(const QByteArray &text);

// The name given when the feed names itself nothing: the link's host, or the file's base name.
QString fallbackName(const Target &target);

// Reads a local file's head and checks it: an empty error and its name, or an error text.
struct FileCheck {
    QString error;
    QString name;
};
FileCheck readFile(const QString &path);

}  // namespace IcsFeed

}  // namespace ondel
