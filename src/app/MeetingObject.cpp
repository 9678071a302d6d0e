#include "MeetingObject.h"

#include "AppShell.h"
#include "MeetingText.h"
#include "OndelStore.h"
#include "Uuid.h"


MeetingObject::MeetingObject(QObject *parent)
    : MeetingObject(AppShell::current() ? AppShell::current()->store() : OndelStore::shared(), parent)
{
}

MeetingObject::MeetingObject(OndelStore &store, QObject *parent)
    : QObject(parent)
    , m_store(&store)
{
    connect(&store, &OndelStore::meetingChanged, this, [this](const QUuid &id) {
        if (id == m_id)
            reload();
    });
    connect(&store, &OndelStore::meetingRemoved, this, [this](const QUuid &id) {
        if (id == m_id)
            reload();
    });
}

QString MeetingObject::meetingId() const
{
    return m_id ? uuidText(*m_id) : QString();
}

void MeetingObject::setMeetingId(const QString &id)
{
    const std::optional<QUuid> parsed = parseUuid(id);
    if (parsed == m_id)
        return;
    m_id = parsed;
    Q_EMIT meetingIdChanged();
    reload();
}

void MeetingObject::reload()
{
    m_meeting = m_store && m_id ? m_store->meeting(*m_id) : std::nullopt;
    Q_EMIT changed();
}

QString MeetingObject::title() const
{
    return m_meeting ? MeetingText::titleOrUntitled(m_meeting->title) : QString();
}

QString MeetingObject::dateText() const
{
    if (!m_meeting)
        return QString();
    return MeetingText::dateAndTime(m_meeting->date, true);
}

QString MeetingObject::durationText() const
{
    return m_meeting && m_meeting->duration > 0 ? MeetingText::cardDuration(m_meeting->duration) : QString();
}
