#include "HallucinationFilter.h"

#include "Log.h"

#include <QTextBoundaryFinder>

namespace {

qsizetype characterCount(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() > 0)
        ++count;
    return count;
}

void logDrop(const QString &reason, const QString &text)
{
    qCInfo(lcOndel).noquote() << QStringLiteral("Dropped segment (%1): %2").arg(reason, Log::clip(text, 50));
}

} // namespace

const QStringList &HallucinationFilter::blocklist()
{
    static const QStringList phrases = {
        QStringLiteral("hãy subscribe cho kênh"),
        QStringLiteral("đăng ký kênh"),
        QStringLiteral("ghiền mì gõ"),
        QStringLiteral("cảm ơn các bạn đã theo dõi"),
        QStringLiteral("cảm ơn các bạn đã xem"),
        QStringLiteral("cảm ơn quý vị đã theo dõi"),
        QStringLiteral("hẹn gặp lại các bạn"),
        QStringLiteral("chúc các bạn xem video vui vẻ"),
        QStringLiteral("nhớ like và"),
        QStringLiteral("like và đăng ký"),
        QStringLiteral("không bỏ lỡ những video hấp dẫn"),
        QStringLiteral("thanks for watching"),
        QStringLiteral("thank you for watching"),
        QStringLiteral("please subscribe"),
        QStringLiteral("don't forget to subscribe"),
        QStringLiteral("see you in the next video"),
    };
    return phrases;
}

bool HallucinationFilter::matchesBlocklist(const QString &text)
{
    // Composed form, so that a phrase typed with precomposed letters matches decomposed text.
    const QString lower = text.toLower().normalized(QString::NormalizationForm_C);
    if (characterCount(lower) >= blocklistLengthLimit)
        return false;
    for (const QString &phrase : blocklist()) {
        if (lower.contains(phrase))
            return true;
    }
    return false;
}

bool HallucinationFilter::shouldDropSegment(const QJsonObject &segment, const QString &text)
{
    struct Test
    {
        const char *field;
        const char *label;
        bool (*drops)(double value);
    };
    static constexpr Test tests[] = {
        {"no_speech_prob", "no_speech_prob", [](double v) { return v > noSpeechThreshold; }},
        {"avg_logprob", "avg_logprob", [](double v) { return v < logprobThreshold; }},
        {"compression_ratio", "compression", [](double v) { return v > compressionRatioThreshold; }},
    };
    for (const Test &test : tests) {
        const QJsonValue value = segment.value(QLatin1String(test.field));
        if (value.isDouble() && test.drops(value.toDouble())) {
            logDrop(QStringLiteral("%1 %2").arg(QLatin1String(test.label), QString::number(value.toDouble(), 'f', 2)), text);
            return true;
        }
    }
    if (matchesBlocklist(text)) {
        logDrop(QStringLiteral("blocklist"), text);
        return true;
    }
    return false;
}
