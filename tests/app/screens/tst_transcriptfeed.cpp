// The feed's bubbles over a real store: how lines group, and that a line stored or removed while
// the meeting is on screen changes only the rows it affects.
#include "OndelStore.h"
#include "RowSignals.h"
#include "TestEnvironment.h"
#include "TranscriptFeedModel.h"
#include "Uuid.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

using Tester = QAbstractItemModelTester;

class TranscriptFeedTest : public QObject
{
    Q_OBJECT

    // "Me 10.0 some words": speaker ("_" for an empty raw value), timestamp, text.
    void store(const QString &line)
    {
        const QStringList parts = line.split(QLatin1Char(' '));
        TranscriptSegment segment;
        segment.speakerRaw = parts.at(0) == QLatin1String("_") ? QString() : parts.at(0);
        segment.timestamp = parts.at(1).toDouble();
        segment.text = parts.mid(2).join(QLatin1Char(' '));
        segment.meetingId = m_meeting;
        QVERIFY(m_store->insert(segment));
        m_lines.append(segment.id);
    }
    // "M:text" for the user's bubbles, "O:text" for the others'; `full` adds id, end and size.
    static QStringList rows(const TranscriptFeedModel &model, bool full = false)
    {
        QStringList result;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex i = model.index(row);
            QString text = (i.data(TranscriptFeedModel::IsMeRole).toBool() ? QStringLiteral("M:") : QStringLiteral("O:"))
                + i.data(TranscriptFeedModel::TextRole).toString();
            if (full)
                text += QStringLiteral(" %1 %2 %3").arg(i.data(TranscriptFeedModel::GroupIdRole).toString(),
                                                      i.data(TranscriptFeedModel::EndsAtRole).toString(),
                                                      i.data(TranscriptFeedModel::LineCountRole).toString());
            result << text;
        }
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<OndelStore> m_store;
    QUuid m_meeting;
    QList<QUuid> m_lines; // in the order stored

private Q_SLOTS:
    void init()
    {
        m_store.reset();
        m_dir = std::make_unique<QTemporaryDir>();
        m_store = OndelStore::open(m_dir->filePath(QStringLiteral("Ondel.store")));
        const Meeting meeting(QStringLiteral("Standup"), QDateTime::currentDateTimeUtc());
        QVERIFY(m_store && m_store->insert(meeting));
        m_meeting = meeting.id;
        m_lines.clear();
    }

    void grouping_data()
    {
        QTest::addColumn<QStringList>("lines"); // in the order stored
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("1.5 s apart share a bubble") << QStringList{"Me 10.0 a", "Me 11.5 b"} << QStringList{"M:a b"};
        QTest::newRow("1.6 s apart do not") << QStringList{"Me 10.0 a", "Me 11.6 b"} << QStringList{"M:a", "M:b"};
        QTest::newRow("a float gap a hair over 1.5 joins") << QStringList{"Me 0.7 a", "Me 2.2 b"} << QStringList{"M:a b"};
        QTest::newRow("each gap from the line before")
            << QStringList{"Me 10.0 a", "Me 11.0 b", "Me 12.0 c"} << QStringList{"M:a b c"};
        QTest::newRow("Them between two Me lines splits them")
            << QStringList{"Me 10.0 a", "Me 10.8 b", "Them 10.4 x"} << QStringList{"M:a", "O:x", "M:b"};
        QTest::newRow("equal timestamps keep the stored order")
            << QStringList{"Me 5 first", "Me 5 second", "Them 5 x", "Me 5 third"}
            << QStringList{"M:first second", "O:x", "M:third"};
        QTest::newRow("an empty speaker reads as me") << QStringList{"Me 1 a", "_ 2 b"} << QStringList{"M:a b"};
        QTest::newRow("a named speaker is neither me nor Them")
            << QStringList{"Anna 1 a", "Me 1.5 b", "Them 2 c"} << QStringList{"O:a", "M:b", "O:c"};
    }
    // Loading a stored meeting and following it line by line must come to the same bubbles.
    void grouping()
    {
        QFETCH(QStringList, lines);
        QFETCH(QStringList, expected);

        TranscriptFeedModel following(*m_store);
        Tester tester(&following, Tester::FailureReportingMode::QtTest);
        following.setMeetingId(uuidText(m_meeting));
        RowSignals signals_(following);
        for (const QString &line : lines)
            store(line);
        QVERIFY(!signals_.take().contains(QLatin1String("reset")));

        TranscriptFeedModel loaded(*m_store);
        loaded.setMeetingId(uuidText(m_meeting));
        QCOMPARE(rows(loaded), expected);
        QCOMPARE(rows(following, true), rows(loaded, true));
        QCOMPARE(loaded.lineCount(), lines.size());
    }

    void changesTouchOnlyTheRowsTheyAffect_data()
    {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<QStringList>("change"); // "+Them 11 x" stores a line, "-1" removes the second stored
        QTest::addColumn<QString>("expectedSignals");
        QTest::addColumn<QStringList>("after");
        QTest::addColumn<int>("lineCountChanges");

        QTest::newRow("a line at the end joins the last bubble")
            << QStringList{"Them 1 x", "Me 10 a"} << QStringList{"+Me 11 b"} << "changed 1-1" << QStringList{"O:x", "M:a b"} << 1;
        QTest::newRow("a line at the end starts a bubble")
            << QStringList{"Me 10 a"} << QStringList{"+Them 11 x"} << "inserted 1-1" << QStringList{"M:a", "O:x"} << 1;
        QTest::newRow("a late line splits a bubble")
            << QStringList{"Me 10 a", "Me 11 b", "Them 20 z"} << QStringList{"+Them 10.5 x"} << "changed 0-0; inserted 1-2"
            << QStringList{"M:a", "O:x", "M:b", "O:z"} << 1;
        QTest::newRow("a late line between two bubbles")
            << QStringList{"Me 1 a", "Them 10 z", "Me 20 c"} << QStringList{"+Anna 5 n"} << "inserted 1-1"
            << QStringList{"M:a", "O:n", "O:z", "M:c"} << 1;
        QTest::newRow("a late line before everything")
            << QStringList{"Me 10 a", "Them 20 z"} << QStringList{"+Them 1 x"} << "inserted 0-0" << QStringList{"O:x", "M:a", "O:z"} << 1;
        QTest::newRow("a late line the next bubble takes in")
            << QStringList{"Me 1 a", "Them 10 z", "Me 20 c"} << QStringList{"+Them 9 x"} << "changed 1-1"
            << QStringList{"M:a", "O:x z", "M:c"} << 1;
        QTest::newRow("a removed line lets its neighbours join")
            << QStringList{"Me 10 a", "Them 10.5 x", "Me 11 b", "Them 30 z"} << QStringList{"-1"} << "changed 0-0; removed 1-2"
            << QStringList{"M:a b", "O:z"} << 1;
        QTest::newRow("a mic line replaced by its Them twin keeps the line count")
            << QStringList{"Them 5 q", "Me 10.3 hello", "Me 30 later"} << QStringList{"-1", "+Them 10 hello"}
            << "removed 1-1; inserted 1-1" << QStringList{"O:q", "O:hello", "M:later"} << 0;
    }
    void changesTouchOnlyTheRowsTheyAffect()
    {
        QFETCH(QStringList, before);
        QFETCH(QStringList, change);
        QFETCH(QString, expectedSignals);
        QFETCH(QStringList, after);
        QFETCH(int, lineCountChanges);

        for (const QString &line : before)
            store(line);
        TranscriptFeedModel model(*m_store);
        model.setMeetingId(uuidText(m_meeting));
        Tester tester(&model, Tester::FailureReportingMode::QtTest);
        RowSignals signals_(model);
        QSignalSpy lineCount(&model, &TranscriptFeedModel::lineCountChanged);

        for (const QString &step : change) {
            if (step.startsWith(QLatin1Char('+')))
                store(step.mid(1));
            else
                QVERIFY(m_store->removeSegment(m_lines.at(step.mid(1).toInt())));
        }
        QCOMPARE(signals_.take(), expectedSignals);
        QCOMPARE(rows(model), after);
        settle();
        QCOMPARE(lineCount.size(), lineCountChanges);
        QCOMPARE(model.lineCount(), m_store->segmentCount(m_meeting));

        TranscriptFeedModel loaded(*m_store);
        loaded.setMeetingId(uuidText(m_meeting));
        QCOMPARE(rows(model, true), rows(loaded, true));
    }
};

ONDEL_TEST_MAIN(TranscriptFeedTest)
#include "tst_transcriptfeed.moc"
