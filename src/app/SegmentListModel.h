#pragma once

#include "TranscriptSegment.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class OndelStore;

// One meeting's lines in time order. A line stored while the meeting is on screen is inserted
// where it belongs, without re-laying out the rest.
class SegmentListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString meetingId READ meetingId WRITE setMeetingId NOTIFY meetingIdChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Roles {
        IdRole = Qt::UserRole + 1,
        SpeakerRole, // "Me", "Them" or a name
        IsMeRole,
        TextRole,
        TimestampRole,
        TimeTextRole, // "m:ss" from the start
    };
    Q_ENUM(Roles)

    explicit SegmentListModel(QObject *parent = nullptr);
    explicit SegmentListModel(OndelStore &store, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString meetingId() const;
    void setMeetingId(const QString &id);

Q_SIGNALS:
    void meetingIdChanged();
    void countChanged();

private:
    void reload();
    void onSegmentAdded(const TranscriptSegment &segment);
    void onSegmentRemoved(const QUuid &meetingId, const QUuid &segmentId);

    QPointer<OndelStore> m_store;
    std::optional<QUuid> m_meetingId;
    QList<TranscriptSegment> m_segments;
};
