#pragma once

#include <QString>

// Lengths and cuts counted in user-perceived characters (grapheme clusters), so that a cut never
// splits a letter from its diacritics, as decomposed Vietnamese text would otherwise be split.
class Graphemes
{
public:
    static qsizetype count(const QString &text);
    // The first `count` characters of `text`.
    static QString left(const QString &text, qsizetype count);
};
