#pragma once

#include "Speaker.h"

#include <QString>
#include <QUuid>

#include <optional>

// One transcript line.
struct TranscriptSegment
{
    TranscriptSegment() = default;
    TranscriptSegment(const QString &text, const Speaker &speaker, double timestamp)
        : text(text)
        , speakerRaw(speaker.rawValue())
        , timestamp(timestamp)
    {
    }
    // A line that already has its id, as read back: no new one is drawn only to be replaced.
    explicit TranscriptSegment(const QUuid &id)
        : id(id)
    {
    }

    QUuid id = QUuid::createUuid();
    QString text;
    QString speakerRaw = QStringLiteral("Me");
    // Seconds from the start of the recording.
    double timestamp = 0;
    // Set for every line the session adds; nothing reads it.
    bool isFinal = false;
    std::optional<QUuid> meetingId;

    Speaker speaker() const { return Speaker::fromRawOrMe(speakerRaw); }

    bool operator==(const TranscriptSegment &) const = default;
};
