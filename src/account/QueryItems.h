#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// Query items as a link's receiver reads them: "name=" has a value, the empty one, while a bare
// "name" has none.
class QueryItems
{
public:
    // The value of the first item called `name`, decoded; none when there is no such item or
    // the first one has no value.
    static std::optional<QString> firstValue(const QUrl &url, const QString &name);
};
