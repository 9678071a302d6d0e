#include "ArchiveIndex.h"

#include "ArchivePaths.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringList>

#include <cmath>

namespace {

// The internet form only: what the writer produces, with an offset allowed.
std::optional<QDateTime> parseDate(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(R"(^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}(Z|[+-]\d{2}:\d{2})$)"));
    if (!form.match(text).hasMatch())
        return std::nullopt;
    const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    if (!date.isValid())
        return std::nullopt;
    return date.toUTC();
}

std::optional<ArchiveIndex::Entry> entryFrom(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    const QJsonValue title = o.value(QLatin1String("title"));
    const QJsonValue date = o.value(QLatin1String("date"));
    const QJsonValue minutes = o.value(QLatin1String("durationMinutes"));
    const QJsonValue path = o.value(QLatin1String("path"));
    const QJsonValue hasSummary = o.value(QLatin1String("hasSummary"));
    if (!title.isString() || !date.isString() || !minutes.isDouble() || !path.isString() || !hasSummary.isBool())
        return std::nullopt;
    const double m = minutes.toDouble();
    if (m != std::trunc(m) || std::fabs(m) > 9.0e15)
        return std::nullopt;
    const std::optional<QDateTime> when = parseDate(date.toString());
    if (!when || !ArchivePaths::isSafeRelativePath(path.toString()))
        return std::nullopt;
    return ArchiveIndex::Entry{title.toString(), *when, qint64(m), path.toString(), hasSummary.toBool()};
}

// Escapes what JSON requires and nothing else; the rest goes out as UTF-8.
void appendJsonString(QByteArray &out, const QString &text)
{
    out += '"';
    qsizetype runStart = 0;
    auto flush = [&](qsizetype end) {
        if (end > runStart)
            out += QStringView(text).mid(runStart, end - runStart).toUtf8();
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t u = text.at(i).unicode();
        const char *escape = nullptr;
        QByteArray control;
        switch (u) {
        case u'"': escape = "\\\""; break;
        case u'\\': escape = "\\\\"; break;
        case u'\n': escape = "\\n"; break;
        case u'\r': escape = "\\r"; break;
        case u'\t': escape = "\\t"; break;
        case u'\b': escape = "\\b"; break;
        case u'\f': escape = "\\f"; break;
        default:
            if (u < 0x20)
                control = QStringLiteral("\\u%1").arg(int(u), 4, 16, QLatin1Char('0')).toLatin1();
        }
        if (!escape && control.isEmpty())
            continue;
        flush(i);
        out += escape ? QByteArray(escape) : control;
        runStart = i + 1;
    }
    flush(text.size());
    out += '"';
}

} // namespace

ArchiveIndex ArchiveIndex::read(const QString &filePath)
{
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    bool ok = false;
    ArchiveIndex index = fromJson(bytes, &ok);
    // An empty file holds nothing worth keeping; anything else that fails is kept aside.
    index.m_damaged = !ok && !bytes.trimmed().isEmpty();
    return index;
}

ArchiveIndex ArchiveIndex::fromJson(const QByteArray &json, bool *ok)
{
    if (ok)
        *ok = false;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    ArchiveIndex index;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        const std::optional<Entry> entry = entryFrom(it.value());
        if (!entry)
            return {}; // one bad entry spoils the whole file, as a strict decoder would
        index.m_entries.emplace(it.key(), *entry);
    }
    if (ok)
        *ok = true;
    return index;
}

QByteArray ArchiveIndex::toJson() const
{
    // Written by hand: the map is already sorted, and a QJsonObject grown one key at a time
    // costs quadratic time for a large archive.
    QByteArray out;
    out.reserve(qsizetype(m_entries.size()) * 220 + 4);
    out += '{';
    bool first = true;
    for (const auto &[id, e] : m_entries) {
        out += first ? "\n  " : ",\n  ";
        first = false;
        appendJsonString(out, id);
        out += " : {\n    \"date\" : ";
        appendJsonString(out, e.date.toUTC().toString(Qt::ISODate));
        out += ",\n    \"durationMinutes\" : ";
        out += QByteArray::number(e.durationMinutes);
        out += ",\n    \"hasSummary\" : ";
        out += e.hasSummary ? "true" : "false";
        out += ",\n    \"path\" : ";
        appendJsonString(out, e.path);
        out += ",\n    \"title\" : ";
        appendJsonString(out, e.title);
        out += "\n  }";
    }
    out += first ? "}\n" : "\n}\n";
    return out;
}

bool ArchiveIndex::write(const QString &filePath, const QDateTime &now)
{
    if (m_damaged) {
        const QString stamp = filePath + QStringLiteral(".broken-") + QLocale::c().toString(now.toUTC(), QStringLiteral("yyyyMMdd-HHmmss"));
        QString aside = stamp;
        for (int n = 2; QFile::exists(aside); ++n)
            aside = stamp + QStringLiteral("-%1").arg(n);
        QFile::rename(filePath, aside);
        m_damaged = false;
    }
    QSaveFile file(filePath);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray json = toJson();
    if (file.write(json) != json.size())
        return false;
    return file.commit();
}

std::optional<ArchiveIndex::Entry> ArchiveIndex::entry(const QString &idText) const
{
    const auto it = m_entries.find(idText);
    if (it == m_entries.end())
        return std::nullopt;
    return it->second;
}

QStringList ArchiveIndex::idsAt(const QString &path) const
{
    QStringList ids;
    for (const auto &[id, e] : m_entries)
        if (e.path == path)
            ids << id;
    return ids;
}
