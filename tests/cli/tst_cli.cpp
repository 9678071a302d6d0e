#include "AppIdentity.h"
#include "EndToEndRig.h"
#include "InstanceLock.h"
#include "OndelStore.h"
#include "TestEnvironment.h"
#include "Uuid.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

using Run = CliRun;

QUuid seed(OndelStore &store, const QString &title, const QDateTime &date, const QList<QPair<QString, QString>> &lines,
           const QString &summary = {})
{
    Meeting m(title, date);
    m.duration = 95;
    if (!summary.isEmpty())
        m.summary = summary;
    store.insert(m);
    double t = 30;
    for (const auto &[speaker, text] : lines) {
        TranscriptSegment s(text, Speaker::fromRawOrMe(speaker), t);
        t -= 10; // added out of time order on purpose
        s.meetingId = m.id;
        store.insert(s);
    }
    return m.id;
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

    QUuid m_weekly;
    QUuid m_retro;

private Q_SLOTS:
    void initTestCase()
    {
        QDir().mkpath(AppIdentity::dataDirectory());
        std::unique_ptr<OndelStore> store = OndelStore::open(OndelStore::defaultFilePath());
        QVERIFY(store);
        m_weekly = seed(*store, "Weekly sync", QDateTime(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC),
                        {{"Me", "Shall we start"}, {"Them", "Xin chào, ĐÃ sẵn sàng"}, {"Me", "First item"}});
        m_retro = seed(*store, "Retro", QDateTime(QDate(2026, 3, 5), QTime(15, 30), Qt::UTC), {},
                       "## Summary\n- budget approved");
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList{};
        QTest::newRow("unknown command") << QStringList{"frobnicate"};
        QTest::newRow("show without id") << QStringList{"show"};
        QTest::newRow("meetings with junk") << QStringList{"meetings", "--yaml"};
        QTest::newRow("config half") << QStringList{"config", "set", "soundEnabled"};
        QTest::newRow("calendars junk") << QStringList{"calendars", "frob"};
        QTest::newRow("events with junk") << QStringList{"events", "--all"};
    }
    void usageErrors()
    {
        QFETCH(QStringList, arguments);
        const Run run = cli(arguments);
        QCOMPARE(run.code, 2);
        QVERIFY(run.err.contains("Usage: ondel-cli"));
        QVERIFY(run.out.isEmpty());
    }

    void listsAndShowsMeetings()
    {
        const QJsonArray meetings = cliJson({"meetings", "--json"}).array();
        QCOMPARE(meetings.size(), 2);
        QCOMPARE(meetings[0]["id"].toString(), uuidText(m_retro)); // the newest first
        QCOMPARE(meetings[0]["date"].toString(), QStringLiteral("2026-03-05T15:30:00.000Z"));
        QCOMPARE(meetings[0]["hasNotes"].toBool(), true);

        // By a unique beginning of the id, in lower case.
        const QJsonObject weekly = cliJson({"show", uuidText(m_weekly).left(8).toLower(), "--json"}).object();
        QStringList lines;
        for (const QJsonValue &l : weekly["lines"].toArray())
            lines << QStringLiteral("%1 %2 %3").arg(l["timestamp"].toDouble()).arg(l["speaker"].toString(), l["text"].toString());
        QCOMPARE(lines, (QStringList{"10 Me First item", QString::fromUtf8("20 Them Xin chào, ĐÃ sẵn sàng"), "30 Me Shall we start"}));
        QVERIFY(weekly["summary"].isNull());

        const Run text = cli({"show", uuidText(m_weekly)});
        QCOMPARE(text.code, 0);
        QVERIFY2(text.out.contains("[00:10] Me: First item"), qPrintable(text.out));
    }

    void missingMeetingFailsInOneLine()
    {
        const Run run = cli({"show", QUuid::createUuid().toString()});
        QCOMPARE(run.code, 1);
        QCOMPARE(run.err.count(QLatin1Char('\n')), 1);
        QVERIFY(run.err.startsWith("No meeting with the id"));
    }

    void search_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("hits");
        QTest::newRow("title, any case") << "WEEKLY" << 1;
        QTest::newRow("a line, with diacritics in capitals") << QString::fromUtf8("đã sẵn") << 1;
        QTest::newRow("only in generated notes") << "budget" << 0;
        QTest::newRow("nothing") << "zebra" << 0;
    }
    void search()
    {
        QFETCH(QString, query);
        QFETCH(int, hits);
        const Run run = cli({"search", query, "--json"});
        QCOMPARE(run.code, 0); // an empty list must not stand for a failure
        QCOMPARE(QJsonDocument::fromJson(run.out.toUtf8()).array().size(), hits);
    }

    void config_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("readBack");
        QTest::newRow("boolean") << "soundEnabled" << "false" << 0 << "false";
        QTest::newRow("boolean refused") << "soundEnabled" << "nope" << 1 << "false";
        QTest::newRow("number") << "transcriptPaneHeight" << "420.5" << 0 << "420.5";
        QTest::newRow("number refused") << "transcriptPaneHeight" << "tall" << 1 << "420.5";
        QTest::newRow("list") << "customDictionary" << "[\"Acme\",\"Vrel\"]" << 0 << "[\"Acme\",\"Vrel\"]";
        QTest::newRow("list refused") << "customDictionary" << "Acme" << 1 << "[\"Acme\",\"Vrel\"]";
        QTest::newRow("unknown key") << "volume" << "11" << 1 << QString();
    }
    void config()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        QFETCH(int, code);
        QFETCH(QString, readBack);
        const Run set = cli({"config", "set", key, value});
        QCOMPARE(set.code, code);
        if (code != 0)
            QCOMPARE(set.err.count(QLatin1Char('\n')), 1);
        const Run get = cli({"config", "get", key});
        if (readBack.isNull()) {
            QCOMPARE(get.code, 1);
            return;
        }
        QCOMPARE(get.out.trimmed(), readBack);
        QVERIFY(cli({"config", "list"}).out.contains(key + " ("));
    }

    void onlyOneProcessOwnsTheData()
    {
        InstanceLock lock;
        QVERIFY(lock.tryLock());
        const Run run = cli({"meetings"});
        QCOMPARE(run.code, 1);
        QCOMPARE(run.err.count(QLatin1Char('\n')), 1);
        QVERIFY(run.err.startsWith("Another Ondel process"));
    }

    void deleteRemoves()
    {
        QCOMPARE(cli({"delete", uuidText(m_retro)}).code, 0);
        QCOMPARE(cli({"show", uuidText(m_retro)}).code, 1);
        QCOMPARE(cliJson({"meetings", "--json"}).array().size(), 1);
    }
};

ONDEL_TEST_MAIN(TestCli)

#include "tst_cli.moc"
