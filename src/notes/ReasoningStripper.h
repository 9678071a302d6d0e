#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// Models behind the gateway may think aloud in front of their answer; none of that may reach
// the user. Works on the raw text of an answer.
class ReasoningStripper
{
public:
    // Phrases that open a reasoning text, lower case, tried in order.
    static const QStringList &markers();

    // Removes the first <think>...</think> (any case). An opening tag that is never closed means
    // the answer was cut off inside its reasoning: only the text before it is kept.
    static QString removeThinkTags(const QString &text);
    // Whether the text, trimmed, opens with one of the markers (within its first 60 characters).
    static bool startsWithReasoning(const QString &text);
    // A title from an answer: its first line once the reasoning is gone, or none.
    static std::optional<QString> title(const QString &text);
    // Notes from an answer: trimmed, think tags removed, and reasoning in front of the first
    // heading cut off. Reasoning with no heading behind it is kept: something beats nothing.
    static QString notes(const QString &answer);
};
