#include "PendingSaves.h"

#include "OndelStore.h"

bool PendingSaves::insertMeeting(OndelStore &store, const Meeting &meeting)
{
    return add(store, {Write::InsertMeeting, meeting.id, meeting, {}, {}});
}

bool PendingSaves::updateMeeting(OndelStore &store, const QUuid &meetingId, std::function<void(Meeting &)> change)
{
    return add(store, {Write::UpdateMeeting, meetingId, {}, std::move(change), {}});
}

bool PendingSaves::insertLine(OndelStore &store, const TranscriptSegment &line)
{
    return add(store, {Write::InsertLine, line.meetingId.value_or(QUuid()), {}, {}, line});
}

bool PendingSaves::removeLine(OndelStore &store, const QUuid &lineId)
{
    // A line that never reached the store simply goes.
    for (qsizetype i = 0; i < m_writes.size(); ++i) {
        if (m_writes[i].kind == Write::InsertLine && m_writes[i].line.id == lineId) {
            m_writes.removeAt(i);
            return flush(store);
        }
    }
    TranscriptSegment line(lineId);
    return add(store, {Write::RemoveLine, {}, {}, {}, line});
}

bool PendingSaves::add(OndelStore &store, Write write)
{
    m_writes.append(std::move(write));
    return flush(store);
}

bool PendingSaves::flush(OndelStore &store)
{
    // In order, and no further than the first that fails: a line needs its meeting, and a later
    // change to a meeting must land after an earlier one.
    while (!m_writes.isEmpty()) {
        Write &write = m_writes.first();
        if (!apply(store, write)) {
            write.refused = true;
            return false;
        }
        if (write.refused && !write.meetingId.isNull())
            m_landed.insert(write.meetingId);
        m_writes.removeFirst();
    }
    return true;
}

bool PendingSaves::apply(OndelStore &store, const Write &write)
{
    bool done = false;
    switch (write.kind) {
    case Write::InsertMeeting:
        done = store.insert(write.meeting);
        break;
    case Write::UpdateMeeting:
        done = store.update(write.meetingId, write.change);
        break;
    case Write::InsertLine:
        done = store.insert(write.line);
        break;
    case Write::RemoveLine:
        return store.removeSegment(write.line.id);
    }
    if (done)
        return true;
    // Moot rather than failed: the meeting is already there (an insert), or gone (the rest).
    bool read = false;
    const bool exists = bool(store.meeting(write.meetingId, &read));
    return read && exists == (write.kind == Write::InsertMeeting);
}

void PendingSaves::forget(const QUuid &meetingId)
{
    m_writes.removeIf([&](const Write &w) { return w.meetingId == meetingId; });
}

std::optional<Meeting> PendingSaves::meeting(const OndelStore &store, const QUuid &meetingId, bool *ok) const
{
    std::optional<Meeting> meeting = store.meeting(meetingId, ok);
    for (const Write &w : m_writes) {
        if (w.meetingId != meetingId)
            continue;
        if (w.kind == Write::InsertMeeting && !meeting)
            meeting = w.meeting;
        else if (w.kind == Write::UpdateMeeting && meeting)
            w.change(*meeting);
    }
    return meeting;
}

QList<TranscriptSegment> PendingSaves::lines(const QUuid &meetingId) const
{
    QList<TranscriptSegment> kept;
    for (const Write &w : m_writes)
        if (w.kind == Write::InsertLine && w.meetingId == meetingId)
            kept.append(w.line);
    return kept;
}
