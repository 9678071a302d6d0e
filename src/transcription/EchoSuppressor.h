#pragma once

#include "TranscriptSegment.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class Settings;

// With loudspeakers the far side's voice reaches the microphone too, and comes back as a second
// line. Twins are found on the text: a new line against the other stream's lines near it in
// time. Stateless; what to do about a twin is the session's business.
class EchoSuppressor
{
public:
    // Inclusive.
    static constexpr double window = 3.5;
    // Lines this short are too common to call twins even when equal.
    static constexpr qsizetype exactMinWords = 3;
    static constexpr qsizetype fuzzyMinWords = 8;
    // Inclusive.
    static constexpr double fuzzyMinSimilarity = 0.85;

    static bool isEnabled(const Settings &settings);

    // The first candidate (in the given order, not the best) that is a twin of the line.
    static std::optional<TranscriptSegment> duplicate(const QString &text, double offset, const QList<TranscriptSegment> &candidates);

    // Lower-case words: runs of letters, marks and digits of any script.
    static QStringList normalize(const QString &text);
    // Words the two share, counted with multiplicity, over the length of the shorter.
    static double similarity(const QStringList &a, const QStringList &b);
};
