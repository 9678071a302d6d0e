#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

// The speech model invents text on silence and noise. A segment goes when the model's own
// figures doubt it, or when it is one of the phrases it is known to invent.
class HallucinationFilter
{
public:
    // Strict: a value equal to a threshold passes.
    static constexpr double noSpeechThreshold = 0.6;
    static constexpr double logprobThreshold = -1.0;
    static constexpr double compressionRatioThreshold = 2.4;
    // A text this long (in characters as a reader counts them) is real speech that happens to
    // hold a phrase, not an invented line.
    static constexpr qsizetype blocklistLengthLimit = 120;

    // Lower case, in a fixed order.
    static const QStringList &blocklist();
    static bool matchesBlocklist(const QString &text);

    // Tests the model's figures, then the blocklist, and logs the reason of a drop. A figure
    // that is absent or not a number passes.
    static bool shouldDropSegment(const QJsonObject &segment, const QString &text);
};
