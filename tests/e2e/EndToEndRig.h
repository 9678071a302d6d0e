#pragma once

#include "CliRun.h"

#include <QRegularExpression>
#include <QString>
#include <QStringList>

// What both end-to-end tests share: ondel-cli as built with them, and how much of a spoken
// sentence a recogniser got back.
inline CliRun cli(const QStringList &arguments, const QByteArray &input = {})
{
    return CliRun::of(QStringLiteral(ONDEL_CLI_PATH), arguments, input);
}

// Share of the expected words found in the text, in any order.
inline double wordsFound(const QString &expected, const QString &text)
{
    const QStringList want = expected.split(QLatin1Char(' '));
    QStringList got = text.toLower().split(QRegularExpression(QStringLiteral("\\W+")), Qt::SkipEmptyParts);
    int hits = 0;
    for (const QString &word : want)
        if (got.removeOne(word))
            ++hits;
    return double(hits) / double(want.size());
}
