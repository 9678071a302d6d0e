#include "QueryItems.h"

#include <QStringList>

std::optional<QString> QueryItems::firstValue(const QUrl &url, const QString &name)
{
    if (!url.hasQuery())
        return std::nullopt;
    const QStringList items = url.query(QUrl::FullyEncoded).split(QLatin1Char('&'));
    for (const QString &item : items) {
        const qsizetype equals = item.indexOf(QLatin1Char('='));
        if (QUrl::fromPercentEncoding(item.left(equals).toUtf8()) != name)
            continue;
        if (equals < 0)
            return std::nullopt;
        return QUrl::fromPercentEncoding(item.mid(equals + 1).toUtf8());
    }
    return std::nullopt;
}
