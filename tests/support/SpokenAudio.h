#pragma once

#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

// Speech from flite as a WAV file, and how much of a spoken sentence a recogniser got back.
inline QString speechFile(const QString &path, const QString &text, const QString &voice = QStringLiteral("slt"))
{
    QProcess flite;
    flite.start(QStringLiteral("flite"), {QStringLiteral("-voice"), voice, QStringLiteral("-t"), text, QStringLiteral("-o"), path});
    flite.waitForFinished(60000);
    return path;
}

// Share of the expected words found in the text, in any order.
inline double wordsFound(const QString &expected, const QString &text)
{
    const QStringList want = expected.split(QLatin1Char(' '));
    QStringList got = text.toLower().split(QRegularExpression(QStringLiteral("\\W+")), Qt::SkipEmptyParts);
    int hits = 0;
    for (const QString &word : want)
        hits += got.removeOne(word);
    return double(hits) / double(want.size());
}
