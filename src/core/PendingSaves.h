#pragma once

#include "Meeting.h"
#include "TranscriptSegment.h"

#include <QList>
#include <QSet>
#include <QUuid>

#include <functional>
#include <optional>
#include <utility>

class OndelStore;

// The recording's writes that the store refused (busy, read-only, full): they stay in memory,
// and every later write first carries them, in the order they were made, so a line is never
// lost to a store that fails for a while. Writes made moot (the meeting was deleted meanwhile)
// are dropped. Main thread only.
class PendingSaves
{
public:
    // Each returns whether everything, this write included, is now in the store.
    bool insertMeeting(OndelStore &store, const Meeting &meeting);
    bool updateMeeting(OndelStore &store, const QUuid &meetingId, std::function<void(Meeting &)> change);
    bool insertLine(OndelStore &store, const TranscriptSegment &line);
    bool removeLine(OndelStore &store, const QUuid &lineId);
    // Writes what is kept.
    bool flush(OndelStore &store);
    // The meetings whose refused writes have since reached the store.
    QSet<QUuid> takeLanded() { return std::exchange(m_landed, {}); }
    // Drops whatever is kept for a meeting that is gone.
    void forget(const QUuid &meetingId);

    bool isEmpty() const { return m_writes.isEmpty(); }
    // The meeting as the kept writes will leave it. `ok` is false when the store cannot be read.
    std::optional<Meeting> meeting(const OndelStore &store, const QUuid &meetingId, bool *ok = nullptr) const;
    // A meeting's kept lines, in the order they came.
    QList<TranscriptSegment> lines(const QUuid &meetingId) const;

private:
    struct Write
    {
        enum Kind { InsertMeeting, UpdateMeeting, InsertLine, RemoveLine } kind;
        QUuid meetingId;
        Meeting meeting;
        std::function<void(Meeting &)> change;
        TranscriptSegment line;
        bool refused = false;
    };
    bool add(OndelStore &store, Write write);
    bool apply(OndelStore &store, const Write &write);

    QList<Write> m_writes;
    QSet<QUuid> m_landed;
};
