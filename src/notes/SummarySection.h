#pragma once

#include <QList>
#include <QString>

// One heading the notes may have, with what belongs under it.
struct SummarySection
{
    QString title;
    QString instruction;

    // The fixed sections, in the order the notes use them.
    static QList<SummarySection> all();
    // The sections as the model reads them: "## title\ninstruction", blank lines between.
    static QString brief(const QList<SummarySection> &sections);

    bool operator==(const SummarySection &) const = default;
};
