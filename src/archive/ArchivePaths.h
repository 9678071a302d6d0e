#pragma once

#include <QDateTime>
#include <QString>
#include <QTimeZone>

// Where the archive lives and what its files are called. Year folders and file names follow the
// user's time zone; the front matter inside the file always says UTC.
class ArchivePaths
{
public:
    // "OndelNotes" in the home folder; "OndelNotes-Test" for a ".test" build. A ".dev" build
    // shares the ordinary folder: it is the user's own copy, not the app's private data.
    static QString defaultRoot();

    // Lower case without diacritics; letters, marks and digits of any script; one "-" for each
    // run of anything else; at most 60 characters; no dash at either end.
    static QString slugify(const QString &title);

    explicit ArchivePaths(const QString &root, const QTimeZone &zone = QTimeZone::systemTimeZone());

    QString root() const { return m_root; }
    QString absolute(const QString &relativePath) const { return m_root + QLatin1Char('/') + relativePath; }
    QString indexFile() const { return absolute(QStringLiteral("index.json")); }

    QString yearFolder(const QDateTime &date) const;
    // "2026/2026-01-05-0930-weekly-sync.md"
    QString relativePath(const QDateTime &date, const QString &title) const;

    // Only a path that this archive could have written is ever touched: a year folder, one
    // file name, ".md". Guards against an index edited by hand (or by someone else).
    static bool isSafeRelativePath(const QString &relativePath);

private:
    QString m_root;
    QTimeZone m_zone;
};
