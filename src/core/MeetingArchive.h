#pragma once

#include <QList>
#include <QUuid>

// Writes a meeting's Markdown copy. Takes its own snapshot from the store on the main thread
// and writes off it; failures stay inside.
class MeetingArchive
{
public:
    virtual ~MeetingArchive() = default;
    // Writes the meeting as stored now; after a rename or a new date its file moves.
    virtual void archive(const QUuid &meetingId) = 0;
    // Writes those of the meetings that the archive does not know yet.
    virtual void backfill(const QList<QUuid> &meetingIds) = 0;
    // Takes out a deleted meeting's file.
    virtual void remove(const QUuid &meetingId) = 0;
};
