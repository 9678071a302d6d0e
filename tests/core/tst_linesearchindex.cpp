// The sidebar's in-memory line search stays true to the store while lines are read ahead of
// time, added, and removed.
#include "LineSearchIndex.h"
#include "OndelStore.h"
#include "TestEnvironment.h"

#include <QtTest>

class LineSearchIndexTest : public QObject
{
    Q_OBJECT

    TestEnvironment m_env;

private Q_SLOTS:
    void followsTheStoreAroundAPreload()
    {
        QTemporaryDir dir;
        std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath("lines.store"));
        QVERIFY(store);
        auto meetingWith = [&](const QStringList &lines) {
            Meeting m(QStringLiteral("m"), QDateTime::currentDateTimeUtc());
            store->insert(m);
            QList<TranscriptSegment> segments;
            for (const QString &text : lines) {
                TranscriptSegment s(text, Speaker::them(), segments.size());
                s.meetingId = m.id;
                segments.append(s);
            }
            store->insert(segments);
            return m.id;
        };
        const QUuid first = meetingWith({"Quarterly NUMBERS", "Phở ở đâu"});
        const QUuid second = meetingWith({"nothing here"});
        const QSet<QUuid> both{first, second};

        LineSearchIndex &index = LineSearchIndex::of(*store);
        QCOMPARE(&LineSearchIndex::of(*store), &index);
        index.preload();
        // Changes that land while the lines are being read.
        TranscriptSegment late(QStringLiteral("A late NOTE"), Speaker::me(), 9);
        late.meetingId = second;
        QVERIFY(store->insert(late));
        const TranscriptSegment gone = store->segments(first).constFirst();
        QVERIFY(store->removeSegment(gone.id));

        const QList<std::pair<QString, QSet<QUuid>>> cases{
            {"quarterly", {}},             // removed during the preload
            {"PHỞ Ở", {first}},            // folded beyond ASCII
            {"late note", {second}},       // added during the preload
            {"here\nphở", {}},             // never across two lines
            {"e", {second}},
            {"h", both},
        };
        for (const auto &[text, expected] : cases)
            QVERIFY2(index.meetingsWithLineContaining(text, both) == expected, qPrintable(text));
        QVERIFY(index.isLoaded());

        // After the load: only the meetings asked about, and deletions.
        QCOMPARE(index.meetingsWithLineContaining("h", {second}), QSet<QUuid>{second});
        store->removeMeeting(second);
        QCOMPARE(index.meetingsWithLineContaining("h", both), QSet<QUuid>{first});
    }
};

QTEST_MAIN(LineSearchIndexTest)
#include "tst_linesearchindex.moc"
