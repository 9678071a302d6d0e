#pragma once

#include "ChatMessage.h"
#include "Meeting.h"
#include "TranscriptSegment.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

class OndelStore;

// A plain copy of a meeting, taken on the main thread, that the archive's worker writes from.
// It holds no record and nothing that points back into the store.
struct ArchiveSnapshot
{
    struct Turn
    {
        QString label;
        double timestamp = 0;
        QString text;

        bool operator==(const Turn &) const = default;
    };
    struct ChatLine
    {
        QString role; // "user" or "assistant"
        QString text;

        bool operator==(const ChatLine &) const = default;
    };

    QUuid id;
    QString title; // "Untitled" when the meeting has none
    QDateTime date;
    double duration = 0;
    std::optional<QString> summary;
    QString userNotes;
    QList<Turn> turns; // by timestamp; runs of one speaker stay separate
    QList<ChatLine> chat; // by creation time

    static ArchiveSnapshot from(const Meeting &meeting, QList<TranscriptSegment> segments, QList<ChatMessage> chat);
    // The meeting as the store holds it now, or nothing when it is gone.
    static std::optional<ArchiveSnapshot> take(const OndelStore &store, const QUuid &meetingId);

    bool operator==(const ArchiveSnapshot &) const = default;
};
