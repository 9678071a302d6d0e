#pragma once

#include "Meeting.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class OndelStore;

// One meeting as a screen shows it, kept current as the store changes it.
class MeetingObject : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString meetingId READ meetingId WRITE setMeetingId NOTIFY meetingIdChanged)
    Q_PROPERTY(bool exists READ exists NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString dateText READ dateText NOTIFY changed)
    Q_PROPERTY(QString durationText READ durationText NOTIFY changed)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)
    Q_PROPERTY(QString summary READ summary NOTIFY changed)

public:
    explicit MeetingObject(QObject *parent = nullptr);
    explicit MeetingObject(OndelStore &store, QObject *parent = nullptr);

    QString meetingId() const;
    void setMeetingId(const QString &id);
    bool exists() const { return m_meeting.has_value(); }
    QString title() const;
    QString dateText() const;
    QString durationText() const;
    bool isRecording() const { return m_meeting && m_meeting->isRecording; }
    QString summary() const { return m_meeting ? m_meeting->summary.value_or(QString()) : QString(); }

Q_SIGNALS:
    void meetingIdChanged();
    void changed();

private:
    void reload();

    QPointer<OndelStore> m_store;
    std::optional<QUuid> m_id;
    std::optional<Meeting> m_meeting;
};
