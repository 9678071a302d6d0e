#include "SummarySection.h"

#include <QStringList>

QList<SummarySection> SummarySection::all()
{
    return {
        {QStringLiteral("Key Points"),
         QStringLiteral("What was actually discussed, and what was concluded about it. Facts, numbers and names as they were said.")},
        {QStringLiteral("Decisions"),
         QStringLiteral("Things settled in this meeting — a choice made, an approach agreed, a direction ruled out. Not topics raised.")},
        {QStringLiteral("Action Items"),
         QStringLiteral("Work someone committed to, written as a checklist. Name the person when the transcript makes it clear who "
                        "took it on, and the timing when one was given.")},
        {QStringLiteral("Follow-ups"), QStringLiteral("Questions left open and things deferred to a later conversation.")},
    };
}

QString SummarySection::brief(const QList<SummarySection> &sections)
{
    QStringList parts;
    parts.reserve(sections.size());
    for (const SummarySection &s : sections)
        parts.append(QStringLiteral("## ") + s.title + QLatin1Char('\n') + s.instruction);
    return parts.join(QStringLiteral("\n\n"));
}
