#pragma once

#include <QUuid>

// Writes a meeting's Markdown copy. Takes its own snapshot from the store on the main thread
// and writes off it; failures stay inside.
class MeetingArchive
{
public:
    virtual ~MeetingArchive() = default;
    virtual void archive(const QUuid &meetingId) = 0;
};
