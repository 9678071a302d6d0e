#pragma once

#include <QDateTime>
#include <QString>

#include <map>
#include <optional>

// "index.json": which file holds which meeting. Read afresh by every operation, since the user
// may have touched it; a file that is missing or does not decode is an empty index, and the next
// save replaces it (a damaged one is first moved aside, so nothing the user had is lost).
class ArchiveIndex
{
public:
    struct Entry
    {
        QString title;
        QDateTime date;
        qint64 durationMinutes = 0;
        QString path; // relative to the root, "/" as separator
        bool hasSummary = false;

        bool operator==(const Entry &) const = default;
    };

    static ArchiveIndex read(const QString &filePath);
    static ArchiveIndex fromJson(const QByteArray &json, bool *ok = nullptr);

    // Pretty, keys sorted, ISO 8601 dates.
    QByteArray toJson() const;
    // Atomic. A damaged file that was read is renamed to "<name>.broken-<stamp>" first.
    bool write(const QString &filePath, const QDateTime &now);

    std::optional<Entry> entry(const QString &idText) const;
    void set(const QString &idText, const Entry &entry) { m_entries[idText] = entry; }
    void remove(const QString &idText) { m_entries.erase(idText); }
    bool contains(const QString &idText) const { return m_entries.count(idText) > 0; }
    bool isEmpty() const { return m_entries.empty(); }
    qsizetype size() const { return qsizetype(m_entries.size()); }
    // The meetings whose entry names `path` (more than one when two share a minute and a slug).
    QStringList idsAt(const QString &path) const;

private:
    std::map<QString, Entry> m_entries; // sorted, as written
    bool m_damaged = false;
};
