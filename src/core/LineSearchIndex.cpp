#include "LineSearchIndex.h"

#include "OndelStore.h"

#include <QByteArrayMatcher>
#include <QtConcurrent/QtConcurrentRun>

LineSearchIndex &LineSearchIndex::of(OndelStore &store)
{
    if (auto *index = store.findChild<LineSearchIndex *>(QString(), Qt::FindDirectChildrenOnly))
        return *index;
    return *new LineSearchIndex(store);
}

LineSearchIndex::LineSearchIndex(OndelStore &store)
    : QObject(&store)
    , m_store(store)
{
    connect(&store, &OndelStore::segmentAdded, this, [this](const TranscriptSegment &segment) {
        if (segment.meetingId)
            append(*segment.meetingId, segment.text);
    });
    // A removed line may sit anywhere in its meeting's buffer: that meeting is read again.
    connect(&store, &OndelStore::segmentRemoved, this, [this](const QUuid &meetingId, const QUuid &) { reread(meetingId); });
    connect(&store, &OndelStore::meetingRemoved, this, &LineSearchIndex::reread);
}

LineSearchIndex::~LineSearchIndex()
{
    m_loading.waitForFinished();
}

void LineSearchIndex::add(QByteArray &buffer, const QString &text)
{
    buffer += text.toLower().toUtf8();
    buffer += '\n';
}

void LineSearchIndex::preload()
{
    if (m_loaded || m_loading.isValid())
        return;
    m_loading = QtConcurrent::run([path = m_store.filePath()] {
        Lines lines;
        OndelStore::readLines(path, [&lines](const QUuid &meetingId, const QString &text) { add(lines[meetingId], text); });
        return lines;
    });
}

void LineSearchIndex::finishLoading()
{
    if (m_loaded)
        return;
    if (!m_loading.isValid())
        preload();
    m_lines = m_loading.result();
    m_loading = {};
    m_loaded = true;
    // A line stored while the others were read may now be there twice, which a substring
    // test does not mind; a removal reads its meeting again.
    for (const auto &[meetingId, text] : std::exchange(m_appendedMeanwhile, {}))
        add(m_lines[meetingId], text);
    for (const QUuid &meetingId : std::exchange(m_changedMeanwhile, {}))
        reread(meetingId);
}

void LineSearchIndex::append(const QUuid &meetingId, const QString &text)
{
    if (m_loaded)
        add(m_lines[meetingId], text);
    else if (m_loading.isValid())
        m_appendedMeanwhile.append({meetingId, text});
}

void LineSearchIndex::reread(const QUuid &meetingId)
{
    if (!m_loaded) {
        if (m_loading.isValid())
            m_changedMeanwhile.insert(meetingId);
        return;
    }
    QByteArray buffer;
    for (const TranscriptSegment &s : m_store.segments(meetingId))
        add(buffer, s.text);
    if (buffer.isEmpty())
        m_lines.remove(meetingId);
    else
        m_lines.insert(meetingId, buffer);
}

QSet<QUuid> LineSearchIndex::meetingsWithLineContaining(const QString &text, const QSet<QUuid> &meetings)
{
    QSet<QUuid> found;
    const QByteArray needle = text.toLower().toUtf8();
    // A line break would let a match run across two lines.
    if (needle.isEmpty() || needle.contains('\n') || meetings.isEmpty())
        return found;
    finishLoading();
    // UTF-8 never starts a character inside another one, so a byte match is a character match.
    const QByteArrayMatcher matcher(needle);
    for (const QUuid &id : meetings) {
        const auto it = m_lines.constFind(id);
        if (it != m_lines.constEnd() && matcher.indexIn(*it) >= 0)
            found.insert(id);
    }
    return found;
}
