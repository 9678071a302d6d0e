#pragma once

#include "Speaker.h"
#include "TranscriptSegment.h"

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <optional>

class OndelStore;

// One meeting's lines as the feed's bubbles: lines of one speaker that follow each other within
// 1.5 s share a bubble. A line stored or removed while the meeting is on screen regroups only
// from the bubble before it, and the rows change as little as the grouping did, so the list
// keeps its layout and its place.
class TranscriptFeedModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString meetingId READ meetingId WRITE setMeetingId NOTIFY meetingIdChanged)
    // Stored lines. A line removed and another added in the same turn of the event loop (a mic
    // line replaced by its Them twin) leaves it unchanged, so the view does not scroll for it.
    Q_PROPERTY(int lineCount READ lineCount NOTIFY lineCountChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Roles {
        GroupIdRole = Qt::UserRole + 1, // the id of the bubble's first line
        IsMeRole,
        TextRole, // the lines joined by one space
        EndsAtRole, // the timestamp of the last line
        LineCountRole,
    };
    Q_ENUM(Roles)

    // How far apart two lines of one speaker may start and still share a bubble.
    static constexpr double joinGap = 1.5;

    explicit TranscriptFeedModel(QObject *parent = nullptr);
    explicit TranscriptFeedModel(OndelStore &store, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString meetingId() const;
    void setMeetingId(const QString &id);
    int lineCount() const { return m_lineCount; }

Q_SIGNALS:
    void meetingIdChanged();
    void lineCountChanged();
    void countChanged();

private:
    struct Line
    {
        QUuid id;
        QString text;
        Speaker speaker = Speaker::me();
        double timestamp = 0;
    };
    struct Group
    {
        QUuid id;
        Speaker speaker = Speaker::me();
        int first = 0; // index of the first line
        int size = 0;
        double endsAt = 0;
        QString text;

        bool sameRow(const Group &other) const;
    };

    static Line lineFrom(const TranscriptSegment &segment);
    static bool joins(const Group &group, const Line &line);
    void extend(Group &group, const Line &line) const;
    Group startGroup(int lineIndex) const;

    void reload();
    void clear();
    void onSegmentAdded(const TranscriptSegment &segment);
    void onSegmentRemoved(const QUuid &meetingId, const QUuid &segmentId);
    int groupOfLine(int lineIndex) const;
    // Lines changed at `at`: one inserted there (delta 1) or the one there removed (delta -1).
    void regroup(int at, int delta);
    void setLineCount(int value);
    void publishLineCount();

    QPointer<OndelStore> m_store;
    std::optional<QUuid> m_meetingId;
    QList<Line> m_lines; // stably sorted by timestamp
    QList<Group> m_groups;
    int m_lineCount = 0;
    bool m_lineCountQueued = false;
};
