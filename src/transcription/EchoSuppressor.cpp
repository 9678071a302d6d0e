#include "EchoSuppressor.h"

#include "Settings.h"
#include "UnicodeText.h"

#include <QHash>

#include <algorithm>
#include <cmath>

bool EchoSuppressor::isEnabled(const Settings &settings)
{
    return settings.echoSuppressionEnabled();
}

QStringList EchoSuppressor::normalize(const QString &text)
{
    // Composed form, so that the same Vietnamese word typed two ways is one word.
    const QString lower = text.toLower().normalized(QString::NormalizationForm_C);
    QStringList words;
    qsizetype start = -1;
    for (qsizetype i = 0; i < lower.size();) {
        const qsizetype at = i;
        char32_t c = lower.at(i++).unicode();
        if (QChar::isHighSurrogate(c) && i < lower.size() && lower.at(i).isLowSurrogate())
            c = QChar::surrogateToUcs4(char16_t(c), lower.at(i++).unicode());
        const bool inWord = UnicodeText::isAlphanumeric(c);
        if (inWord && start < 0) {
            start = at;
        } else if (!inWord && start >= 0) {
            words << lower.mid(start, at - start);
            start = -1;
        }
    }
    if (start >= 0)
        words << lower.mid(start);
    return words;
}

double EchoSuppressor::similarity(const QStringList &a, const QStringList &b)
{
    const qsizetype shorter = std::min(a.size(), b.size());
    if (shorter == 0)
        return 0.0;
    QHash<QString, int> remaining;
    remaining.reserve(b.size());
    for (const QString &word : b)
        ++remaining[word];
    qsizetype shared = 0;
    for (const QString &word : a) {
        const auto it = remaining.find(word);
        if (it != remaining.end() && it.value() > 0) {
            --it.value();
            ++shared;
        }
    }
    return double(shared) / double(shorter);
}

std::optional<TranscriptSegment> EchoSuppressor::duplicate(const QString &text, double offset, const QList<TranscriptSegment> &candidates)
{
    if (candidates.isEmpty())
        return std::nullopt;
    const QStringList words = normalize(text);
    if (words.isEmpty())
        return std::nullopt;

    for (const TranscriptSegment &candidate : candidates) {
        // Time first: only the few lines in the window are worth normalising.
        if (std::abs(candidate.timestamp - offset) > window)
            continue;
        const QStringList other = normalize(candidate.text);
        if (other.isEmpty())
            continue;
        if (words == other) {
            if (words.size() >= exactMinWords)
                return candidate;
            continue; // too short for either test
        }
        if (words.size() < fuzzyMinWords || other.size() < fuzzyMinWords)
            continue;
        if (similarity(words, other) >= fuzzyMinSimilarity)
            return candidate;
    }
    return std::nullopt;
}
