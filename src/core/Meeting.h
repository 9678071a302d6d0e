#pragma once

#include "TranscriptSegment.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

// One meeting. A plain value: the store (OndelStore) persists it, and its segments and chat
// turns are separate records that point back at it by id.
struct Meeting
{
    Meeting() = default;
    Meeting(const QString &title, const QDateTime &date)
        : title(title)
        , date(date)
    {
    }

    QUuid id = QUuid::createUuid();
    QString title;
    std::optional<QString> summary;
    QString userNotes;
    QDateTime date = QDateTime::currentDateTimeUtc();
    double duration = 0;
    bool isRecording = false;
    std::optional<QString> calendarEventId;
    QStringList attendeeNames;
    std::optional<QString> organizer;
    std::optional<QString> calendarName;
    std::optional<QDateTime> scheduledStart;
    std::optional<QDateTime> scheduledEnd;
    QString source = QStringLiteral("quick-note");
    bool titleIsUserEdited = false;
    bool autoStartEnabled = false;
    bool autoStartFired = false;
    bool linkBannerDismissed = false;
    std::optional<QUuid> folderId;

    // Notes the user typed, ignoring white space and newlines at both ends.
    bool hasUserNotes() const;
    // A title from the user or from a calendar is never replaced by a generated one.
    bool allowsAITitle() const;
    // The transcript as plain text: segments in time order, runs of one speaker on one line.
    static QString formattedTranscript(QList<TranscriptSegment> segments);

    bool operator==(const Meeting &) const = default;
};
