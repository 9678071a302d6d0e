#include "EdsCalendarStore.h"
#include "EdsCalendars.h"
#include "EdsFixture.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <libecal/libecal.h>

#include <ctime>

using namespace ondel;

namespace {

QDateTime utc(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate).toUTC();
}

const QDateTime kFrom = utc("2026-10-26T00:00:00Z");
const QDateTime kTo = utc("2026-11-17T00:00:00Z");

// The longest pass of the main thread's event loop while it is alive: a 1 ms timer notes the
// gaps between its ticks.
class LongestPass {
public:
    LongestPass()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_longest = std::max(m_longest, m_clock.restart());
        });
        m_clock.start();
        m_timer.start();
    }
    qint64 ms() const { return m_longest; }
    // The main thread's own CPU time since it began (the timer's ticks included).
    double cpuMs() const { return threadCpuMs() - m_cpuAtStart; }
    static double threadCpuMs()
    {
        timespec now {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_longest = 0;
    double m_cpuAtStart = threadCpuMs();
};

} // namespace

class tst_EdsCalendarStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void calendars_data();
    void calendars();
    void recurrenceAndZones();
    void eventFields();
    void attendees_data();
    void attendees();
    void ownAddresses();
    void liveChanges();
    void addAndRemove();
    void refusedInput_data();
    void refusedInput();
    void hostileInput();

private:
    QList<CalendarStoreCalendar> readCalendars(CalendarStore::Availability *availability = nullptr);
    QList<CalendarStoreEvent> readEvents(const QStringList &ids, const QDateTime &from = kFrom,
                                         const QDateTime &to = kTo, int timeoutMs = 30000);
    QString addCalendar(const QUrl &linkOrFile);
    QString removeCalendar(const QString &id);
    CalendarStoreEvent workEvent(const QString &uid);

    std::unique_ptr<EdsFixture> m_eds;
    std::unique_ptr<EdsCalendarStore> m_store;
    TestHttpServer m_http;
    QList<CalendarStoreEvent> m_work;
};

QList<CalendarStoreCalendar> tst_EdsCalendarStore::readCalendars(CalendarStore::Availability *availability)
{
    bool done = false;
    QList<CalendarStoreCalendar> answer;
    m_store->readCalendars([&](CalendarStore::Availability a, QList<CalendarStoreCalendar> calendars) {
        if (availability)
            *availability = a;
        answer = calendars;
        done = true;
    });
    [&] { QTRY_VERIFY_WITH_TIMEOUT(done, 30000); }();
    return answer;
}

QList<CalendarStoreEvent> tst_EdsCalendarStore::readEvents(const QStringList &ids, const QDateTime &from,
                                                           const QDateTime &to, int timeoutMs)
{
    bool done = false;
    QList<CalendarStoreEvent> answer;
    m_store->readEvents(from, to, ids, [&](QList<CalendarStoreEvent> events) {
        answer = std::move(events);
        done = true;
    });
    [&] { QTRY_VERIFY_WITH_TIMEOUT(done, timeoutMs); }();
    return answer;
}

QString tst_EdsCalendarStore::addCalendar(const QUrl &linkOrFile)
{
    std::optional<QString> error;
    m_store->addCalendar(linkOrFile, [&](const QString &e) { error = e; });
    [&] { QTRY_VERIFY_WITH_TIMEOUT(error.has_value(), 30000); }();
    return error.value_or(QStringLiteral("no answer"));
}

QString tst_EdsCalendarStore::removeCalendar(const QString &id)
{
    std::optional<QString> error;
    m_store->removeCalendar(id, [&](const QString &e) { error = e; });
    [&] { QTRY_VERIFY_WITH_TIMEOUT(error.has_value(), 30000); }();
    return error.value_or(QStringLiteral("no answer"));
}

CalendarStoreEvent tst_EdsCalendarStore::workEvent(const QString &uid)
{
    for (const CalendarStoreEvent &event : std::as_const(m_work))
        if (event.eventIdentifier == QStringLiteral("work:") + uid)
            return event;
    return {};
}

void tst_EdsCalendarStore::initTestCase()
{
    // No session bus at all: the store says so and does not wait.
    {
        const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + qgetenv("HOME") + "/no-bus-here");
        m_store = std::make_unique<EdsCalendarStore>();
        CalendarStore::Availability availability = CalendarStore::Availability::unknown;
        QVERIFY(readCalendars(&availability).isEmpty());
        QCOMPARE(availability, CalendarStore::Availability::unavailable);
        m_store.reset();
        // Destroyed before its thread has begun: a command line refusing its arguments does so.
        for (int i = 0; i < 50; ++i)
            EdsCalendarStore();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }

    m_eds = std::make_unique<EdsFixture>();
    if (!m_eds->missing().isEmpty())
        QSKIP(qPrintable(m_eds->missing()));
    const QString work = m_eds->writeFile(QStringLiteral("work.ics"), EdsCalendars::work());
    m_eds->writeSource(QStringLiteral("acme"), QStringLiteral("[Data Source]\nDisplayName=Acme Corp\nEnabled=true\n"));
    m_eds->writeSource(QStringLiteral("identity"),
                       QStringLiteral("[Data Source]\nDisplayName=Me\nEnabled=true\n\n[Mail Identity]\nAddress=id@mail.example\n"));
    m_eds->writeCalendar(QStringLiteral("work"), QStringLiteral("Work"), QStringLiteral("acme"), QStringLiteral("#3465a4"),
                         QStringLiteral("local"),
                         QStringLiteral("[Local Backend]\nCustomFile=%1\n\n[WebDAV Backend]\nEmailAddress=me@work.example\n")
                             .arg(QUrl::fromLocalFile(work).toString()));
    m_eds->writeCalendar(QStringLiteral("holidays"), QStringLiteral("Holidays"), QStringLiteral("acme"),
                         QStringLiteral("#73d216"), QStringLiteral("webcal"));
    m_eds->writeCalendar(QStringLiteral("loose"), QStringLiteral("Loose"), {}, QStringLiteral("none"));
    m_eds->writeCalendar(QStringLiteral("scratch"), QStringLiteral("Scratch"), QStringLiteral("acme"), QStringLiteral("#cc0000"));
    m_eds->writeSource(QStringLiteral("off"), QStringLiteral("[Data Source]\nDisplayName=Switched off\nEnabled=false\n\n"
                                                             "[Calendar]\nBackendName=local\n"));
    m_eds->writeSource(QStringLiteral("ondel-made-earlier"),
                       QStringLiteral("[Data Source]\nDisplayName=Added before\nEnabled=true\n\n[Calendar]\nBackendName=local\n"));
    const struct {
        const char *uid;
        QByteArray content;
    } hostile[] = {
        {"unterminated", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:cut\r\nSUMMARY:Cut\r\nDTSTART:20261027T"},
        {"binary", QByteArray("\x00\x01\xff\xfe BEGIN:VCALENDAR \x00\x80", 24).repeated(400)},
        {"crowd", EdsCalendars::crowd(5000)},
        {"many", EdsCalendars::many(50000, 12)},
        {"endless", EdsCalendars::calendar(EdsCalendars::event(
                        "endless-1", "SUMMARY:Tick\r\nDTSTART:20260101T000000Z\r\nDTEND:20260101T000030Z\r\n"
                                     "RRULE:FREQ=MINUTELY\r\n"))},
    };
    for (const auto &[uid, content] : hostile) {
        const QString file = m_eds->writeFile(QString::fromLatin1(uid) + QStringLiteral(".ics"), content);
        m_eds->writeCalendar(QString::fromLatin1(uid), QString::fromLatin1(uid), QStringLiteral("acme"), {},
                             QStringLiteral("local"), QStringLiteral("[Local Backend]\nCustomFile=%1\n").arg(QUrl::fromLocalFile(file).toString()));
    }
    QVERIFY2(m_eds->start(), qPrintable(m_eds->error()));

    m_store = std::make_unique<EdsCalendarStore>();
    m_work = readEvents({QStringLiteral("work")});
    QVERIFY(!m_work.isEmpty());
}

void tst_EdsCalendarStore::calendars_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("sourceTitle"); // "-" for none
    QTest::addColumn<QString>("color"); // "-" for none, empty for EDS's own choice
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("addedByOndel");
    using Type = CalendarStoreCalendar::Type;
    QTest::newRow("an account's calendar") << "work" << "Work" << "Acme Corp" << "#3465a4" << int(Type::ordinary) << false;
    QTest::newRow("a web subscription") << "holidays" << "Holidays" << "Acme Corp" << "#73d216" << int(Type::subscription)
                                        << false;
    QTest::newRow("no parent, no colour") << "loose" << "Loose" << "-" << "-" << int(Type::ordinary) << false;
    QTest::newRow("birthdays") << "birthdays" << "Birthdays & Anniversaries" << "Contacts" << "" << int(Type::birthday)
                               << false;
    QTest::newRow("marked as Ondel's") << "ondel-made-earlier" << "Added before" << "-" << "" << int(Type::ordinary) << true;
}

void tst_EdsCalendarStore::calendars()
{
    QFETCH(QString, id);
    CalendarStore::Availability availability = CalendarStore::Availability::unknown;
    const QList<CalendarStoreCalendar> calendars = readCalendars(&availability);
    QCOMPARE(availability, CalendarStore::Availability::available);
    QVERIFY(std::none_of(calendars.begin(), calendars.end(), [](const auto &c) { return c.id == QLatin1String("off"); }));
    const auto found = std::find_if(calendars.begin(), calendars.end(), [&](const auto &c) { return c.id == id; });
    QVERIFY2(found != calendars.end(), qPrintable(id));
    QTEST(found->title, "title");
    QTEST(found->sourceTitle.value_or(QStringLiteral("-")), "sourceTitle");
    QFETCH(QString, color);
    if (!color.isEmpty())
        QCOMPARE(found->color ? found->color->name() : QStringLiteral("-"), color);
    QTEST(int(found->type), "type");
    QTEST(found->addedByOndel, "addedByOndel");
}

void tst_EdsCalendarStore::recurrenceAndZones()
{
    // 9:00 in New York is 13:00 UTC before the clocks go back (the 16 November week, moved to
    // 11:00, is 16:00 UTC after); the 2 November week moved to December, out of the window, and
    // the 9 November one is left out.
    QList<std::tuple<QString, QDateTime, QDateTime>> weekly;
    for (const CalendarStoreEvent &event : std::as_const(m_work))
        if (event.eventIdentifier == QLatin1String("work:weekly-1"))
            weekly.append({event.title, event.startDate, event.endDate});
    std::sort(weekly.begin(), weekly.end(), [](const auto &a, const auto &b) { return std::get<1>(a) < std::get<1>(b); });
    const QList<std::tuple<QString, QDateTime, QDateTime>> expected = {
        {QStringLiteral("Weekly sync"), utc("2026-10-26T13:00:00Z"), utc("2026-10-26T14:00:00Z")},
        {QStringLiteral("Weekly sync (moved)"), utc("2026-11-16T16:00:00Z"), utc("2026-11-16T17:00:00Z")},
    };
    QCOMPARE(weekly, expected);
    QCOMPARE(std::get<1>(weekly.first()).timeSpec(), Qt::UTC);

    // The ids stay the same on a second read.
    QStringList ids, again;
    for (const auto &event : std::as_const(m_work))
        ids << event.eventIdentifier + event.startDate.toString(Qt::ISODate);
    for (const auto &event : readEvents({QStringLiteral("work")}))
        again << event.eventIdentifier + event.startDate.toString(Qt::ISODate);
    ids.sort();
    again.sort();
    QCOMPARE(again, ids);
}

void tst_EdsCalendarStore::eventFields()
{
    const CalendarStoreEvent review = workEvent(QStringLiteral("review-1"));
    QCOMPARE(review.title, QStringLiteral("Design review"));
    QCOMPARE(review.calendarId, QStringLiteral("work"));
    QCOMPARE(review.startDate, utc("2026-10-28T15:00:00Z"));
    QCOMPARE(review.endDate, utc("2026-10-28T16:00:00Z"));
    QVERIFY(!review.isAllDay);
    QCOMPARE(review.organizer, std::optional(QStringLiteral("Ann Lee")));
    QCOMPARE(review.url, QUrl(QStringLiteral("https://zoom.us/j/123")));
    QCOMPARE(review.location, std::optional(QStringLiteral("Room 4")));
    QCOMPARE(review.notes, std::optional(QStringLiteral("Agenda, then demo")));

    const CalendarStoreEvent offsite = workEvent(QStringLiteral("offsite-1"));
    QVERIFY(offsite.isAllDay);
    QCOMPARE(offsite.location, std::nullopt);

    const CalendarStoreEvent lunch = workEvent(QStringLiteral("lunch-1"));
    QCOMPARE(lunch.organizer, std::optional(QStringLiteral("boss@example.com")));
    QCOMPARE(lunch.notes, std::nullopt);
}

void tst_EdsCalendarStore::attendees_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("isPerson");
    QTest::addColumn<bool>("isCurrentUser");
    QTest::addColumn<bool>("declined");
    QTest::newRow("a person") << 0 << "Ann Lee" << "mailto:ann@example.com" << true << false << false;
    QTest::newRow("no name, no type") << 1 << "" << "mailto:bob@example.com" << true << false << false;
    QTest::newRow("a room") << 2 << "Room 4" << "mailto:room4@example.com" << false << false << false;
    QTest::newRow("a resource") << 3 << "" << "mailto:projector@example.com" << false << false << false;
    QTest::newRow("a group") << 4 << "" << "mailto:team@example.com" << false << false << false;
    QTest::newRow("unknown") << 5 << "" << "mailto:who@example.com" << false << false << false;
    QTest::newRow("self by the calendar's address, declined")
        << 6 << "Me" << "mailto:ME@Work.example" << true << true << true;
    QTest::newRow("self again: only the first counts") << 7 << "" << "mailto:me@work.example" << true << false << false;
}

void tst_EdsCalendarStore::attendees()
{
    QFETCH(int, index);
    const QList<CalendarStoreAttendee> attendees = workEvent(QStringLiteral("review-1")).attendees;
    QCOMPARE(attendees.size(), 8);
    const CalendarStoreAttendee &attendee = attendees.at(index);
    QTEST(attendee.name, "name");
    QTEST(attendee.url.toString(), "url");
    QTEST(attendee.isPerson, "isPerson");
    QTEST(attendee.isCurrentUser, "isCurrentUser");
    QTEST(attendee.declined, "declined");
}

void tst_EdsCalendarStore::ownAddresses()
{
    // A mail identity's address is the user's; the account's address, given later, comes first
    // in this event's list and takes over.
    QList<CalendarStoreAttendee> attendees = workEvent(QStringLiteral("lunch-1")).attendees;
    QCOMPARE(attendees.size(), 2);
    QVERIFY(!attendees.at(0).isCurrentUser);
    QVERIFY(attendees.at(1).isCurrentUser);

    m_store->setOwnAddresses({QStringLiteral("Me@Personal.example")});
    for (const auto &event : readEvents({QStringLiteral("work")}))
        if (event.eventIdentifier == QLatin1String("work:lunch-1"))
            attendees = event.attendees;
    m_store->setOwnAddresses({});
    QVERIFY(attendees.at(0).isCurrentUser);
    QVERIFY(attendees.at(0).declined);
    QVERIFY(!attendees.at(1).isCurrentUser);
}

void tst_EdsCalendarStore::liveChanges()
{
    QVERIFY(readEvents({QStringLiteral("scratch")}).isEmpty()); // starts watching it
    QSignalSpy changed(m_store.get(), &CalendarStore::changed);

    // Another program writes to the calendar.
    GError *error = nullptr;
    ESourceRegistry *registry = e_source_registry_new_sync(nullptr, &error);
    QVERIFY2(registry, error ? error->message : "");
    ESource *source = e_source_registry_ref_source(registry, "scratch");
    EClient *client = e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, guint32(-1), nullptr, &error);
    QVERIFY2(client, error ? error->message : "");
    ICalComponent *component = i_cal_component_new_from_string(
        EdsCalendars::event("fresh-1", "SUMMARY:Fresh\r\nDTSTART:20261027T100000Z\r\nDTEND:20261027T110000Z\r\n").constData());
    const bool created = e_cal_client_create_object_sync(E_CAL_CLIENT(client), component, E_CAL_OPERATION_FLAG_NONE,
                                                         nullptr, nullptr, &error);
    g_object_unref(component);
    g_object_unref(client);
    g_object_unref(source);
    g_object_unref(registry);
    QVERIFY2(created, error ? error->message : "");

    QVERIFY(changed.wait(10000));
    const QList<CalendarStoreEvent> events = readEvents({QStringLiteral("scratch")});
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().eventIdentifier, QStringLiteral("scratch:fresh-1"));
}

void tst_EdsCalendarStore::addAndRemove()
{
    m_http.setHandler([](const TestHttpServer::Request &) {
        return TestHttpServer::Reply::text(EdsCalendars::calendar({}, "X-WR-CALNAME:Team\\, rota\r\n"), 200);
    });
    const QString file = m_eds->writeFile(
        QStringLiteral("plain.ics"),
        EdsCalendars::calendar(EdsCalendars::event("p-1", "SUMMARY:Dentist\r\nDTSTART:20261027T080000Z\r\n"
                                                          "DTEND:20261027T090000Z\r\n"),
                               "X-WR-CALNAME;VALUE=TEXT:Family\r\n  plans\r\n"));
    QSignalSpy changed(m_store.get(), &CalendarStore::changed);

    QCOMPARE(addCalendar(QUrl::fromLocalFile(file)), QString());
    QCOMPARE(addCalendar(QUrl(m_http.url().toString() + QStringLiteral("rota.ics"))), QString());
    // A webcal link is fetched over https; this server speaks none, so the host names it.
    QCOMPARE(addCalendar(QUrl(QStringLiteral("webcal://127.0.0.1:%1/feed").arg(m_http.url().port()))), QString());
    QCOMPARE(addCalendar(QUrl::fromLocalFile(file)), QStringLiteral("This calendar is already added, as \"Family plans\"."));
    QVERIFY(changed.wait(10000));

    QHash<QString, CalendarStoreCalendar> added;
    for (const auto &calendar : readCalendars())
        if (calendar.id.startsWith(QLatin1String("ondel-")) && calendar.id != QLatin1String("ondel-made-earlier"))
            added.insert(calendar.title, calendar);
    QCOMPARE(added.size(), 3);
    QVERIFY(added.value(QStringLiteral("Family plans")).addedByOndel);
    QCOMPARE(int(added.value(QStringLiteral("Family plans")).type), int(CalendarStoreCalendar::Type::ordinary));
    QCOMPARE(int(added.value(QStringLiteral("Team, rota")).type), int(CalendarStoreCalendar::Type::subscription));
    QVERIFY(added.contains(QStringLiteral("127.0.0.1")));

    const QList<CalendarStoreEvent> events = readEvents({added.value(QStringLiteral("Family plans")).id});
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().title, QStringLiteral("Dentist"));

    QCOMPARE(removeCalendar(QStringLiteral("work")), QStringLiteral("Only calendars added in Ondel can be removed here."));
    for (const auto &calendar : std::as_const(added))
        QCOMPARE(removeCalendar(calendar.id), QString());
    QCOMPARE(removeCalendar(added.begin()->id), QStringLiteral("There is no such calendar."));
    for (const auto &calendar : readCalendars())
        QVERIFY(!added.contains(calendar.title));
    QVERIFY(QFile::exists(file)); // the user's file stays
}

void tst_EdsCalendarStore::refusedInput_data()
{
    QTest::addColumn<QString>("input"); // "{http}" stands for the local server, "{dir}" for the fixture's folder
    QTest::addColumn<QString>("error");
    const QString neither = QStringLiteral("Enter a calendar link (https or webcal) or choose an .ics file.");
    QTest::newRow("another scheme") << "ftp://example.com/cal.ics" << neither;
    QTest::newRow("a relative path") << "cal.ics" << neither;
    QTest::newRow("no host") << "https:///cal.ics" << "The calendar link has no host.";
    QTest::newRow("no such file") << "{dir}/missing.ics" << "The file \"{dir}/missing.ics\" doesn't exist.";
    QTest::newRow("a folder") << "{dir}" << "The file \"{dir}\" can't be read.";
    QTest::newRow("a binary file") << "{dir}/files/binary.ics" << "The file \"{dir}/files/binary.ics\" isn't an iCalendar (.ics) file.";
    QTest::newRow("a link that fails") << "{http}missing.ics" << "This link doesn't lead to a calendar (.ics).";
    QTest::newRow("a web page") << "{http}page.html" << "This link doesn't lead to a calendar (.ics).";
}

void tst_EdsCalendarStore::refusedInput()
{
    QFETCH(QString, input);
    QFETCH(QString, error);
    m_http.setHandler([](const TestHttpServer::Request &request) {
        return request.target.endsWith(".html") ? TestHttpServer::Reply::text("<html>Hello</html>", 200)
                                                : TestHttpServer::Reply::text("Not found", 404);
    });
    const auto expand = [&](QString text) {
        return text.replace(QStringLiteral("{http}"), m_http.url().toString()).replace(QStringLiteral("{dir}"), m_eds->folder());
    };
    const QString text = expand(input);
    const QUrl url = text.startsWith(u'/') ? QUrl::fromLocalFile(text) : QUrl(text);
    const int before = int(readCalendars().size());
    QCOMPARE(addCalendar(url), expand(error));
    QCOMPARE(int(readCalendars().size()), before);
}

void tst_EdsCalendarStore::hostileInput()
{
    // Each read alone, so that one calendar's cost shows; the main thread only takes the answers.
    const struct {
        const char *uid;
        qsizetype events;
    } rows[] = {{"unterminated", -1}, {"binary", 0}, {"crowd", 1}, {"endless", 2000}, {"many", 50000}};
    for (const auto &[uid, expected] : rows) {
        LongestPass pass;
        QElapsedTimer wall;
        wall.start();
        const QList<CalendarStoreEvent> events = readEvents({QString::fromLatin1(uid)}, kFrom, kFrom.addDays(7), 120000);
        qInfo("%s: %lld events in %lld ms; main thread: longest pass %lld ms, CPU %.1f ms", uid,
              qlonglong(events.size()), qlonglong(wall.elapsed()), qlonglong(pass.ms()), pass.cpuMs());
        if (expected >= 0)
            QCOMPARE(events.size(), expected);
    }
    const QList<CalendarStoreEvent> crowd = readEvents({QStringLiteral("crowd")});
    QCOMPARE(crowd.first().attendees.size(), 5000);
}

ONDEL_TEST_MAIN(tst_EdsCalendarStore)
#include "tst_edscalendarstore.moc"
