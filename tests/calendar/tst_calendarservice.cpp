#include "CalendarRig.h"
#include "TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>

using namespace ondel;
using namespace std::chrono_literals;
using Authorization = CalendarService::Authorization;
using namespace calendarrig;

Q_DECLARE_METATYPE(ondel::CalendarStore::Availability)

class TestCalendarService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void authorization_data()
    {
        QTest::addColumn<bool>("consent");
        QTest::addColumn<bool>("withStore");
        QTest::addColumn<CalendarStore::Availability>("availability");
        QTest::addColumn<int>("calendars");
        QTest::addColumn<Authorization>("expected");
        QTest::addColumn<int>("reads");
        using A = CalendarStore::Availability;
        QTest::newRow("never connected") << false << true << A::available << 2 << Authorization::notRequested << 0;
        QTest::newRow("connected, no store built in") << true << false << A::available << 2 << Authorization::denied << 0;
        QTest::newRow("connected, service absent") << true << true << A::unavailable << 2 << Authorization::denied << 1;
        QTest::newRow("connected, no calendars") << true << true << A::available << 0 << Authorization::noAccounts << 1;
        QTest::newRow("connected, calendars") << true << true << A::available << 2 << Authorization::granted << 1;
    }

    // Consent, the service's answer and the number of calendars; the store is not read before
    // the user connected.
    void authorization()
    {
        QFETCH(bool, consent);
        QFETCH(bool, withStore);
        QFETCH(CalendarStore::Availability, availability);
        QFETCH(int, calendars);
        QFETCH(Authorization, expected);
        QFETCH(int, reads);
        Rig rig(consent);
        rig.store.availability = availability;
        rig.store.calendars = rig.store.calendars.mid(0, calendars);
        CalendarService &service = rig.make(nullptr, withStore);
        QCOMPARE(service.authorization(), expected);
        QCOMPARE(rig.store.calendarReads, reads);
        // The window's activation asks again and keeps the verdict.
        service.becameActive();
        QCOMPARE(service.authorization(), expected);
    }

    void requestAccess()
    {
        Rig rig(false);
        CalendarService &service = rig.make();
        QSignalSpy wanted(&service, &CalendarService::accountsSettingsWanted);
        service.requestAccess();
        QVERIFY(rig.settings.calendarConnected());
        QCOMPARE(service.authorization(), Authorization::granted);
        QCOMPARE(service.calendars().size(), 3);

        rig.store.availability = CalendarStore::Availability::unavailable;
        service.becameActive();
        QCOMPARE(service.authorization(), Authorization::denied);
        QCOMPARE(service.calendars().size(), 3); // kept from the last answer
        service.requestAccess();
        QCOMPARE(wanted.size(), 1);
    }

    // Sorted calendars; declined and all-day entries out; skipped apart; Google entries merged
    // behind the desktop's at equal times; all in place when eventsChanged comes, once.
    void resyncPublishesOneUpdate()
    {
        Rig rig;
        const QDateTime nine = rig.today.addSecs(9 * 3600);
        CalendarStoreEvent allDay = storeEvent("allday", "work", rig.today, "Offsite", 5);
        allDay.isAllDay = true;
        CalendarStoreEvent declined = storeEvent("declined", "work", nine, "Review", 3);
        declined.attendees[1].isCurrentUser = true;
        declined.attendees[1].declined = true;
        CalendarStoreEvent otherDeclined = storeEvent("other-declined", "work", nine.addSecs(60), "Planning", 3);
        otherDeclined.attendees[0].declined = true;
        CalendarStoreEvent recurring = storeEvent("weekly", "home", nine.addDays(1), "Standup");
        rig.store.events = {storeEvent("lunch", "home", nine, "Lunch"), allDay, declined, otherDeclined, recurring,
                            storeEvent("weekly", "home", nine.addDays(2), "Standup"), storeEvent("1on1", "work", nine, "Anna", 2),
                            storeEvent("old", "work", rig.today.addDays(-1), "Yesterday sync", 3),
                            storeEvent("far", "work", rig.today.addDays(8), "Next week sync", 3)};
        EventInfo google;
        google.id = "g:cal:1";
        google.startDate = nine;
        google.endDate = nine.addSecs(600);
        google.kind = EventKind::meeting;
        rig.settings.setCalendarConnected(false);
        CalendarService &service = rig.make();
        service.setGoogleEvents({google});
        QCOMPARE(ids(service.events()), QStringList{"g:cal:1"}); // Google alone, before consent

        rig.settings.setCalendarConnected(true);
        QSignalSpy changed(&service, &CalendarService::eventsChanged);
        QStringList seen;
        connect(&service, &CalendarService::eventsChanged, this,
                [&] { seen = ids(service.events()) + QStringList{"|"} + ids(service.skippedEvents()); });
        service.refreshAuthorization();
        service.resync();
        QCOMPARE(changed.size(), 1);
        QCOMPARE(seen, (QStringList{"1on1", "g:cal:1", "other-declined", "weekly", "weekly", "|", "lunch"}));
        QStringList titles;
        for (const CalendarInfo &c : service.calendars())
            titles << c.sourceTitle + "/" + c.title;
        QCOMPARE(titles, (QStringList{"Other/Home", "Web/Holidays", "Work account/Work"}));

        // Only the events list is searched, and a recurring entry answers with its first occurrence.
        QCOMPARE(service.eventWithId("weekly")->startDate, nine.addDays(1));
        QCOMPARE(service.eventWithId("lunch"), std::nullopt);
        // Nothing changed: nothing announced.
        service.resync();
        QCOMPARE(changed.size(), 1);
    }

    // Subscriptions start hidden but listed; a choice is stored per id; reset restores defaults
    // and keeps "always record". With nothing visible the store is not asked for events.
    void visibility()
    {
        Rig rig;
        rig.store.events = {storeEvent("h", "holidays", rig.today.addSecs(3600), "Holiday call", 3)};
        CalendarService &service = rig.make();
        QCOMPARE(rig.store.ids, (QStringList{"home", "work"}));
        QVERIFY(!service.isVisible("holidays"));
        QVERIFY(service.isVisible("unknown"));
        QVERIFY(service.events().isEmpty());

        service.setVisible(true, "holidays");
        QCOMPARE(rig.settings.calendarVisibility().value("holidays"), QVariant(true));
        QCOMPARE(ids(service.events()), QStringList{"h"});
        service.setAlwaysRecord(true, "home");

        service.resetVisibility();
        QVERIFY(rig.settings.calendarVisibility().isEmpty());
        QVERIFY(service.events().isEmpty());
        QCOMPARE(rig.settings.alwaysRecordCalendars(), QStringList{"home"});

        service.setVisible(false, "home");
        service.setVisible(false, "work");
        const int reads = rig.store.eventReads;
        service.resync();
        QCOMPARE(rig.store.eventReads, reads);
        QCOMPARE(service.calendars().size(), 3);
    }

    // A lone entry on a marked calendar is a class at once; the Google entries are asked for.
    void alwaysRecordThroughResync()
    {
        Rig rig;
        rig.store.events = {storeEvent("dentist", "home", rig.today.addSecs(3600), "Dentist", 1)};
        CalendarService &service = rig.make();
        QSignalSpy google(&service, &CalendarService::googleRefreshWanted);
        QSignalSpy version(&service, &CalendarService::alwaysRecordVersionChanged);
        QCOMPARE(ids(service.skippedEvents()), QStringList{"dentist"});

        service.setAlwaysRecord(true, "home");
        service.setAlwaysRecord(true, "home");
        QCOMPARE(rig.settings.alwaysRecordCalendars(), QStringList{"home"});
        QCOMPARE(service.alwaysRecordVersion(), 2);
        QCOMPARE(version.size(), 2);
        QCOMPARE(google.size(), 2);
        QCOMPARE(service.eventWithId("dentist")->kind, EventKind::session);
        QVERIFY(service.eventWithId("dentist")->highConfidence);

        service.setAlwaysRecord(false, "home");
        QCOMPARE(service.eventWithId("dentist"), std::nullopt);
        QVERIFY(rig.settings.alwaysRecordCalendars().isEmpty());
    }

    // While the store works on a resync, every further request (and a burst of store changes)
    // becomes one more resync after it; nothing half-read is ever published.
    void coalescing()
    {
        Rig rig;
        rig.store.deferred = true;
        rig.store.events = {storeEvent("a", "work", rig.today.addSecs(3600), "Sync", 3)};
        CalendarService &service = rig.make();
        QSignalSpy changed(&service, &CalendarService::eventsChanged);
        QSignalSpy calendars(&service, &CalendarService::calendarsChanged);
        QVERIFY(service.isResyncing());
        for (int i = 0; i < 5; ++i) {
            service.resync();
            Q_EMIT rig.store.changed();
        }
        settle();
        rig.store.release(); // the calendars: events are asked for, nothing published yet
        QVERIFY(service.calendars().isEmpty());
        QCOMPARE(changed.size(), 0);
        rig.store.events.append(storeEvent("b", "work", rig.today.addSecs(7200), "Sync", 3));
        rig.store.release(); // the events: published, and the one more resync starts
        QCOMPARE(calendars.size(), 1);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(ids(service.events()), (QStringList{"a", "b"}));
        QVERIFY(service.isResyncing());
        rig.store.release();
        rig.store.release();
        QVERIFY(!service.isResyncing());
        QCOMPARE(rig.store.calendarReads, 2);

        // A store that never answers is given up after a minute; its late answer is ignored.
        service.resync();
        rig.clock.advance(60s);
        QVERIFY(!service.isResyncing());
        rig.store.calendars.clear();
        rig.store.release();
        QCOMPARE(service.calendars().size(), 3);
        QCOMPARE(service.authorization(), Authorization::granted);

        // A store that answers twice still makes one step each.
        rig.store.deferred = false;
        rig.store.twice = true;
        rig.store.calendars = {calendar("work", "Work account", "Work")};
        const int eventReads = rig.store.eventReads;
        service.resync();
        QCOMPARE(rig.store.eventReads, eventReads + 1);
        QCOMPARE(calendars.size(), 2);
        QCOMPARE(service.calendars().size(), 1);
        QCOMPARE(changed.size(), 1);
        QVERIFY(!service.isResyncing());
    }

    // Tens of thousands of entries are mirrored on a worker: the resync is still under way when
    // the store has answered, and publishes the whole list, sorted, at once.
    void largeCalendar()
    {
        Rig rig;
        for (int i = 0; i < 50'000; ++i)
            rig.store.events.append(storeEvent(QString::number(i), "work", rig.today.addSecs(3600 + (49'999 - i) * 10), "Sync", i % 4));
        CalendarService &service = rig.make();
        QSignalSpy changed(&service, &CalendarService::eventsChanged);
        QVERIFY(service.isResyncing());
        service.resync();
        QTRY_VERIFY_WITH_TIMEOUT(!service.isResyncing(), 60000);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(rig.store.calendarReads, 2);
        QCOMPARE(service.events().size(), 50'000);
        QCOMPARE(service.events().first().id, "49999");
        QCOMPARE(service.events().last().id, "0");
    }

    // The window runs from local midnight for 7 calendar days (a daylight-saving week is an
    // hour short), and moves on at midnight with the 300-second timer.
    void windowAcrossMidnight()
    {
        Rig rig;
        rig.clock.advance(std::chrono::milliseconds(rig.clock.now().msecsTo(QDateTime(QDate(2026, 3, 22), QTime(22, 30), Qt::UTC))));
        rig.store.events = {storeEvent("late", "work", QDateTime(QDate(2026, 3, 22), QTime(22, 0), Qt::UTC), "Late sync", 3)};
        CalendarService &service = rig.make();
        QSignalSpy google(&service, &CalendarService::googleRefreshWanted);
        QCOMPARE(rig.store.start, QDateTime(QDate(2026, 3, 21), QTime(23, 0), Qt::UTC)); // Berlin, winter time
        QCOMPARE(rig.store.start.secsTo(rig.store.end), 7 * 86400);
        QCOMPARE(ids(service.events()), QStringList{"late"});

        const int reads = rig.store.calendarReads;
        rig.clock.advance(31min); // 00:00 in Berlin passes: six ticks
        QCOMPARE(rig.store.calendarReads, reads + 6);
        QCOMPARE(google.size(), 6);
        QCOMPARE(rig.store.start, QDateTime(QDate(2026, 3, 22), QTime(23, 0), Qt::UTC));
        QCOMPARE(rig.store.start.secsTo(rig.store.end), 7 * 86400 - 3600); // summer time from the 29th
        QVERIFY(service.events().isEmpty());
    }

    void addAndRemoveCalendars()
    {
        Rig rig;
        CalendarService &service = rig.make();
        QTemporaryDir files;
        QFile ics(files.filePath("team.ics"));
        QVERIFY(ics.open(QIODevice::WriteOnly));
        ics.close();
        const QList<std::pair<QString, QString>> table = {
            {"ftp://example.com/cal.ics", "\"ftp://example.com/cal.ics\" is neither a calendar link (https or webcal) nor a calendar file."},
            {"https://", "\"https://\" is not a calendar link."},
            {files.filePath("missing.ics"), "is neither"},
            {"webcal://example.com/team.ics", ""},
            {ics.fileName(), ""},
        };
        for (const auto &[input, expected] : table) {
            QString error = "not answered";
            service.addCalendar(input, [&](const QString &e) { error = e; });
            QVERIFY2(expected.isEmpty() ? error.isEmpty() : error.contains(expected), qPrintable(input + ": " + error));
        }
        QCOMPARE(rig.store.added, (QList<QUrl>{QUrl("webcal://example.com/team.ics"), QUrl::fromLocalFile(ics.fileName())}));
        QCOMPARE(service.calendars().size(), 5);

        service.setAlwaysRecord(true, "added-1");
        service.setVisible(true, "added-1");
        QString error = "not answered";
        service.removeCalendar("work", [&](const QString &e) { error = e; });
        QCOMPARE(error, "\"Work\" was not added in Ondel; remove it where it was set up.");
        service.removeCalendar("added-1", [&](const QString &e) { error = e; });
        QCOMPARE(error, QString());
        QCOMPARE(service.calendars().size(), 4);
        QVERIFY(rig.settings.alwaysRecordCalendars().isEmpty());
        QVERIFY(rig.settings.calendarVisibility().isEmpty());
    }
};

int main(int argc, char **argv)
{
    // Daylight-saving time and midnight are the window's edge cases: read them in Berlin.
    qputenv("TZ", "Europe/Berlin");
    TestEnvironment environment;
    QCoreApplication app(argc, argv);
    TestCalendarService test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_calendarservice.moc"
