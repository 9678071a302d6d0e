#include "EventClassification.h"

namespace ondel::EventClassification {

namespace {

bool containsAny(const QString &lower, const QStringList &keywords)
{
    for (const QString &keyword : keywords) {
        if (lower.contains(keyword))
            return true;
    }
    return false;
}

// Lower case, and precomposed like the keywords, so that a title stored decomposed still finds
// "họp".
QString foldedTitle(const QString &title)
{
    QString lower = title.toLower();
    for (QChar c : lower) {
        if (c.unicode() >= 0x80)
            return lower.normalized(QString::NormalizationForm_C);
    }
    return lower;
}

}  // namespace

const QStringList &meetingKeywords()
{
    static const QStringList keywords = {
        QStringLiteral("meeting"), QStringLiteral("call"), QStringLiteral("sync"), QStringLiteral("1:1"),
        QStringLiteral("1-1"), QStringLiteral("standup"), QStringLiteral("interview"), QStringLiteral("workshop"),
        QStringLiteral("demo"), QStringLiteral("pitch"), QStringLiteral("kickoff"), QStringLiteral("catch up"),
        QStringLiteral("livestream"), QStringLiteral("live stream"), QStringLiteral("presentation"),
        QString::fromUtf8("họp").normalized(QString::NormalizationForm_C),
        QString::fromUtf8("phỏng vấn").normalized(QString::NormalizationForm_C),
        QString::fromUtf8("hội thảo").normalized(QString::NormalizationForm_C), QStringLiteral("seminar"),
        QStringLiteral("webinar"), QStringLiteral("talk"),
        QString::fromUtf8("thuyết trình").normalized(QString::NormalizationForm_C),
        QString::fromUtf8("gặp").normalized(QString::NormalizationForm_C),
    };
    return keywords;
}

const QStringList &personalKeywords()
{
    static const QStringList keywords = {
        QStringLiteral("lunch"), QString::fromUtf8("ăn").normalized(QString::NormalizationForm_C), QStringLiteral("gym"),
        QStringLiteral("workout"), QStringLiteral("commute"), QStringLiteral("sauna"), QStringLiteral("break"),
        QString::fromUtf8("nghỉ").normalized(QString::NormalizationForm_C), QStringLiteral("focus"),
        QStringLiteral("deep work"),
    };
    return keywords;
}

Verdict classify(bool hasConferenceLink, int participantCount, const QString &title, bool alwaysRecord)
{
    const QString lower = foldedTitle(title);
    const int n = participantCount;
    Verdict verdict;
    if (hasConferenceLink)
        verdict.kind = n >= 5 ? EventKind::webinar : EventKind::meeting;
    else if (n >= 3)
        verdict.kind = EventKind::meeting;
    else if (n == 2)
        verdict.kind = EventKind::oneOnOne;
    else if (alwaysRecord)
        verdict.kind = EventKind::session;
    else
        verdict.kind = containsAny(lower, meetingKeywords()) ? EventKind::meeting : EventKind::skip;
    const bool firm = hasConferenceLink || n > 1 || alwaysRecord;
    verdict.highConfidence = firm && !containsAny(lower, personalKeywords());
    return verdict;
}

}  // namespace ondel::EventClassification
