#pragma once

#include "InlineRun.h"

#include <QList>
#include <QString>

#include <optional>

// Inline-only Markdown, as the notes view shows bullets, paragraphs and open tasks: strong and
// emphasis (with * and _), code spans, links, autolinks and backslash escapes, following
// CommonMark's delimiter rules. Block syntax means nothing here and white space is kept as it
// is. Markup that does not pair up stays as its own characters. Only http, https and mailto
// destinations make links; a link to anything else is shown as its text.
class InlineMarkdown
{
public:
    // None for a text that cannot be parsed (broken UTF-16).
    static std::optional<QList<InlineRun>> parse(const QString &text);
    // The runs, or the whole text as one plain run when it cannot be parsed.
    static QList<InlineRun> runs(const QString &text);
};
