#include "Graphemes.h"

#include <QTextBoundaryFinder>

qsizetype Graphemes::count(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype n = 0;
    while (finder.toNextBoundary() > 0)
        ++n;
    return n;
}

QString Graphemes::left(const QString &text, qsizetype count)
{
    if (count <= 0)
        return {};
    // A character is at least one code unit, so a text this short is whole.
    if (text.size() <= count)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qsizetype n = 0; n < count; ++n) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0)
            return text;
        end = next;
    }
    return text.left(end);
}
