#pragma once

#include <QString>
#include <QUuid>

// Identifiers turned into text are upper-case and hyphenated, without braces.
inline QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}
