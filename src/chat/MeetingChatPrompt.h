#pragma once

#include "ChatMessage.h"
#include "Meeting.h"

#include <QJsonArray>
#include <QList>
#include <QString>

// The messages of a question about one meeting: what is known about it, the recent
// conversation, then the question.
class MeetingChatPrompt
{
public:
    // Only the newest turns go out; older ones would crowd out the transcript.
    static constexpr qsizetype historyLength = 8;

    // `transcript` is the meeting's formatted transcript. The generated notes are left out on
    // purpose: answers come from the user's own notes and what was said.
    static QString system(const Meeting &meeting, const QString &transcript);
    // `history` oldest first, without the new question.
    static QJsonArray build(const QString &question, const Meeting &meeting, const QString &transcript,
                            const QList<ChatMessage> &history);
};
