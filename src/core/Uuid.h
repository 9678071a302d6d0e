#pragma once

#include <QString>
#include <QUuid>

// Identifiers turned into text are upper-case and hyphenated, without braces.
inline QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

#include <optional>

// Text from a screen or a command line; nullopt for anything that is no identifier.
inline std::optional<QUuid> parseUuid(const QString &text)
{
    const QUuid id = QUuid::fromString(text.trimmed());
    if (id.isNull())
        return std::nullopt;
    return id;
}
