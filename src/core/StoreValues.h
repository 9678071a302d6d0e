#pragma once

// How the store's records map to SQLite values and back; shared by the store's files.

#include "Uuid.h"

#include <QDateTime>
#include <QSqlQuery>
#include <QString>
#include <QUuid>
#include <QVariant>

#include <optional>

namespace StoreValues {

// A null QString binds as SQL NULL; text columns that are never absent get "" instead.
inline QString plain(const QString &value)
{
    return value.isNull() ? QString(QLatin1String("")) : value;
}

// The number a COUNT(*) query gives, once it `ran`; 0 with `ok` false when it could not be read,
// which callers must not take for "none".
inline int count(QSqlQuery &q, bool ran, bool *ok)
{
    const bool read = ran && q.next();
    if (ok)
        *ok = read;
    if (!read)
        return 0;
    const int n = q.value(0).toInt();
    q.finish();
    return n;
}

inline QVariant text(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant(QMetaType(QMetaType::QString));
}

inline QVariant idText(const std::optional<QUuid> &value)
{
    return value ? QVariant(uuidText(*value)) : QVariant(QMetaType(QMetaType::QString));
}

inline QVariant millis(const QDateTime &value)
{
    return QVariant(qint64(value.toMSecsSinceEpoch()));
}

inline QVariant millis(const std::optional<QDateTime> &value)
{
    return value ? millis(*value) : QVariant(QMetaType(QMetaType::LongLong));
}

inline std::optional<QString> optionalText(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional<QString>(value.toString());
}

inline std::optional<QUuid> optionalId(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional<QUuid>(QUuid::fromString(value.toString()));
}

inline QDateTime dateFrom(const QVariant &value)
{
    return QDateTime::fromMSecsSinceEpoch(value.toLongLong(), Qt::UTC);
}

inline std::optional<QDateTime> optionalDate(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional<QDateTime>(dateFrom(value));
}

} // namespace StoreValues
