#pragma once

#include "InlineRun.h"
#include "SummaryBlock.h"

#include <QList>
#include <QString>

// The notes' small Markdown: one line makes one block, four kinds of block, and whatever does
// not fit is a paragraph. Never fails, so that a badly shaped answer still shows.
class SummaryMarkdown
{
public:
    static QList<SummaryBlock> parse(const QString &markdown);
    // How a bullet, a paragraph or an open task draws its text; headings and done tasks show
    // their plain characters.
    static QList<InlineRun> inlineRuns(const QString &text);
};
