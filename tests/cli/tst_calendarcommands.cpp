#include "CalendarCommand.h"
#include "CalendarRig.h"
#include "TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

using namespace calendarrig;

// `calendars …` and `events` over a calendar service on an in-memory store: what they print,
// how they end, and what they leave in the settings.
class TestCalendarCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commands_data()
    {
        QTest::addColumn<bool>("consent");
        QTest::addColumn<bool>("withStore");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("output");   // found in standard output, or error when failing
        QTest::addColumn<QString>("setting");  // "key=compact JSON" after the command
        const QString none;
        QTest::newRow("list") << true << true << QStringList{"calendars"} << 0
                              << "work  Work  (Work account)  #0000ff  shown  always record" << none;
        QTest::newRow("list hides subscriptions") << true << true << QStringList{"calendars"} << 0
                                                  << "holidays  Holidays  (Web)  #0000ff  hidden\n" << none;
        QTest::newRow("events, skipped last") << true << true << QStringList{"events"} << 0
                                              << "(skipped)  low  Lunch" << none;
        QTest::newRow("connect") << false << true << QStringList{"calendars", "connect"} << 0 << "Connected: 3 calendars."
                                 << "calendarConnected=true";
        QTest::newRow("connect, no calendar service") << false << false << QStringList{"calendars", "connect"} << 1
                                                      << "No calendar service answers on this computer" << "calendarConnected=true";
        QTest::newRow("not connected") << false << true << QStringList{"events"} << 1 << "ondel-cli calendars connect" << none;
        QTest::newRow("hide") << true << true << QStringList{"calendars", "hide", "work"} << 0 << none
                              << "calendarVisibility={\"work\":false}";
        QTest::newRow("show") << true << true << QStringList{"calendars", "show", "holidays"} << 0 << none
                              << "calendarVisibility={\"holidays\":true,\"work\":true}";
        QTest::newRow("always record off") << true << true << QStringList{"calendars", "always-record", "work", "off"} << 0
                                           << none << "alwaysRecordCalendars=[]";
        QTest::newRow("unknown id") << true << true << QStringList{"calendars", "always-record", "nope", "on"} << 1
                                    << "No calendar with the id \"nope\"." << "alwaysRecordCalendars=[\"work\"]";
        QTest::newRow("remove what Ondel did not add") << true << true << QStringList{"calendars", "remove", "work"} << 1
                                                       << "remove it where it was set up" << none;
        QTest::newRow("add a link") << true << true << QStringList{"calendars", "add", "webcal://example.com/a.ics"} << 0 << none
                                    << none;
        QTest::newRow("add nonsense") << true << true << QStringList{"calendars", "add", "not a link"} << 1 << "neither" << none;
        QTest::newRow("reset") << true << true << QStringList{"calendars", "reset"} << 0 << none << "calendarVisibility={}";
        QTest::newRow("usage") << true << true << QStringList{"calendars", "always-record", "work", "maybe"} << 2
                               << "calendars takes:" << none;
    }

    void commands()
    {
        QFETCH(bool, consent);
        QFETCH(bool, withStore);
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, output);
        QFETCH(QString, setting);
        Rig rig(consent);
        rig.settings.setAlwaysRecordCalendars({"work"});
        rig.settings.setCalendarVisibility({{"work", true}});
        rig.store.events = {storeEvent("lunch", "home", rig.today.addSecs(12 * 3600), "Lunch"),
                            storeEvent("review", "work", rig.today.addSecs(10 * 3600), "Review", 3)};
        CalendarService &service = rig.make(nullptr, withStore);
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        CalendarCommand command(service, outStream, errStream);
        QSignalSpy finished(&command, &CalendarCommand::finished);
        const QString name = args.takeFirst();
        int result = name == "events" ? command.events(args) : command.calendars(args);
        if (result == -1) {
            QVERIFY(finished.wait(5000));
            result = finished.first().first().toInt();
        }
        outStream.flush();
        errStream.flush();
        QCOMPARE(result, code);
        QVERIFY2((code == 0 ? out : err).contains(output), qPrintable(out + err));
        if (!setting.isEmpty()) {
            const QString key = setting.section('=', 0, 0);
            const QJsonValue value = rig.settings.value(key);
            const QByteArray text = value.isObject() ? QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact)
                                  : value.isArray()  ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact)
                                                     : QByteArray(value.toBool() ? "true" : "false");
            QCOMPARE(QString::fromUtf8(text), setting.section('=', 1));
        }
    }

    // Every field of every event, kinds as their labels, times in UTC.
    void eventsAsJson()
    {
        Rig rig;
        CalendarStoreEvent review = storeEvent("review", "work", rig.today.addSecs(10 * 3600), "Review", 2);
        review.notes = "https://meet.google.com/abc-defg-hij";
        review.organizer = "Ann";
        rig.store.events = {review, storeEvent("lunch", "home", rig.today.addSecs(12 * 3600), "Lunch")};
        CalendarService &service = rig.make();
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        CalendarCommand command(service, outStream, errStream);
        QSignalSpy finished(&command, &CalendarCommand::finished);
        QCOMPARE(command.events({"--json"}), -1);
        QVERIFY(finished.wait(5000));
        outStream.flush();
        const QJsonArray array = QJsonDocument::fromJson(out.toUtf8()).array();
        QCOMPARE(array.size(), 2);
        const QJsonObject first = array.at(0).toObject();
        QCOMPARE(first.keys().size(), 15);
        QCOMPARE(first.value("kind").toString(), "Meeting");
        QCOMPARE(first.value("startDate").toString(), rig.today.addSecs(10 * 3600).toString(Qt::ISODate));
        QCOMPARE(first.value("conferenceURL").toString(), "https://meet.google.com/abc-defg-hij");
        QCOMPARE(first.value("attendees").toArray().size(), 2);
        QCOMPARE(first.value("organizer").toString(), "Ann");
        QCOMPARE(first.value("location"), QJsonValue(QJsonValue::Null));
        QCOMPARE(array.at(1).toObject().value("kind").toString(), "");
        QCOMPARE(array.at(1).toObject().value("skipped").toBool(), true);
    }
};

ONDEL_TEST_MAIN(TestCalendarCommands)
#include "tst_calendarcommands.moc"
