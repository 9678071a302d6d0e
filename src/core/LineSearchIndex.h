#pragma once

#include <QByteArray>
#include <QFuture>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QUuid>

class OndelStore;
struct TranscriptSegment;

// The lines of every meeting, case folded and kept in memory, so that the sidebar's search
// answers each keystroke without reading the store: a plain substring test over one buffer per
// meeting. Read once (ahead of time on another thread, or at the first search) and kept
// current from the store's signals after that. Used on the main thread.
class LineSearchIndex : public QObject
{
    Q_OBJECT

public:
    // The one index of a store, made on first use and owned by the store.
    static LineSearchIndex &of(OndelStore &store);
    ~LineSearchIndex() override;

    // Starts reading the lines on another thread, so that the first search finds them ready.
    void preload();
    // The meetings among `meetings` with a line that contains `text`, case aside.
    QSet<QUuid> meetingsWithLineContaining(const QString &text, const QSet<QUuid> &meetings);
    bool isLoaded() const { return m_loaded; }

private:
    using Lines = QHash<QUuid, QByteArray>;

    explicit LineSearchIndex(OndelStore &store);
    void finishLoading();
    void append(const QUuid &meetingId, const QString &text);
    void reread(const QUuid &meetingId);
    static void add(QByteArray &buffer, const QString &text);

    OndelStore &m_store;
    bool m_loaded = false;
    QFuture<Lines> m_loading;
    // What changed while the lines were being read.
    QList<std::pair<QUuid, QString>> m_appendedMeanwhile;
    QSet<QUuid> m_changedMeanwhile;
    // Each meeting's lines, lower-cased, in UTF-8, each followed by a newline.
    Lines m_lines;
};
