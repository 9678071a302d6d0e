#include "ConferenceLink.h"
#include "EventClassification.h"
#include "EventMirror.h"
#include "TestEnvironment.h"

#include <QRandomGenerator>
#include <QTest>

using namespace ondel;

Q_DECLARE_METATYPE(ondel::EventKind)

namespace {

CalendarStoreAttendee person(const QString &name, const QString &url = {})
{
    CalendarStoreAttendee a;
    a.name = name;
    a.url = QUrl(url);
    return a;
}

CalendarStoreAttendee room(const QString &name)
{
    CalendarStoreAttendee a = person(name);
    a.isPerson = false;
    return a;
}

}  // namespace

class TestCalendarClassification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void classify_data()
    {
        QTest::addColumn<bool>("link");
        QTest::addColumn<int>("participants");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("alwaysRecord");
        QTest::addColumn<EventKind>("kind");
        QTest::addColumn<bool>("high");

        QTest::newRow("link, five: webinar") << true << 5 << "All hands" << false << EventKind::webinar << true;
        QTest::newRow("link, four: meeting") << true << 4 << "Planning" << false << EventKind::meeting << true;
        QTest::newRow("link, alone: never 1:1") << true << 0 << "Office hours" << false << EventKind::meeting << true;
        QTest::newRow("link, two: never 1:1") << true << 2 << "Catch-up" << false << EventKind::meeting << true;
        QTest::newRow("three: meeting") << false << 3 << "Roadmap" << false << EventKind::meeting << true;
        QTest::newRow("two: 1:1") << false << 2 << "Anna / Binh" << false << EventKind::oneOnOne << true;
        QTest::newRow("two, Lunch: 1:1 not high") << false << 2 << "Lunch" << false << EventKind::oneOnOne << false;
        QTest::newRow("three, Gym: meeting not high") << false << 3 << "Gym" << false << EventKind::meeting << false;
        QTest::newRow("Recall Helen: keyword inside a word") << false << 0 << "Recall Helen" << false << EventKind::meeting << false;
        QTest::newRow("Breakfast meeting, not firm") << false << 0 << "Breakfast meeting" << false << EventKind::meeting << false;
        QTest::newRow("one attendee, keyword only") << false << 1 << "Weekly SYNC" << false << EventKind::meeting << false;
        QTest::newRow("Dentist, always record") << false << 1 << "Dentist" << true << EventKind::session << true;
        QTest::newRow("Lunch, always record") << false << 1 << "Lunch" << true << EventKind::session << false;
        QTest::newRow("empty title, always record") << false << 0 << "" << true << EventKind::session << true;
        QTest::newRow("two, always record: still 1:1") << false << 2 << "x" << true << EventKind::oneOnOne << true;
        QTest::newRow("link, always record: webinar") << true << 7 << "x" << true << EventKind::webinar << true;
        QTest::newRow("empty title alone: skip") << false << 0 << "" << false << EventKind::skip << false;
        QTest::newRow("Dentist alone: skip") << false << 1 << "Dentist" << false << EventKind::skip << false;
        QTest::newRow("Vietnamese: họp") << false << 0 << QString::fromUtf8("Họp nhóm") << false << EventKind::meeting << false;
        QTest::newRow("Vietnamese decomposed: gặp")
            << false << 0 << QString::fromUtf8("Gặp khách").normalized(QString::NormalizationForm_D) << false
            << EventKind::meeting << false;
        QTest::newRow("Vietnamese personal: nghỉ, firm")
            << false << 4 << QString::fromUtf8("Nghỉ trưa") << false << EventKind::meeting << false;
        QTest::newRow("deep work, link") << true << 1 << "Deep Work" << false << EventKind::meeting << false;
        QTest::newRow("negative count") << false << -1 << "Talk" << false << EventKind::meeting << false;
    }

    void classify()
    {
        QFETCH(bool, link);
        QFETCH(int, participants);
        QFETCH(QString, title);
        QFETCH(bool, alwaysRecord);
        QFETCH(EventKind, kind);
        QFETCH(bool, high);
        const EventClassification::Verdict verdict = EventClassification::classify(link, participants, title, alwaysRecord);
        QCOMPARE(rawValue(verdict.kind), rawValue(kind));
        QCOMPARE(verdict.kind, kind);
        QCOMPARE(verdict.highConfidence, high);
    }

    void kindRawValues()
    {
        const QList<std::pair<EventKind, QString>> table = {{EventKind::meeting, "Meeting"}, {EventKind::oneOnOne, "1:1"},
                                                            {EventKind::webinar, "Webinar"}, {EventKind::session, "Class"},
                                                            {EventKind::skip, ""}};
        for (const auto &[kind, raw] : table) {
            QCOMPARE(rawValue(kind), raw);
            QCOMPARE(eventKindFromRawValue(raw), kind);
        }
        QCOMPARE(eventKindFromRawValue("Session"), std::nullopt);
        QCOMPARE(eventKindFromRawValue("meeting"), std::nullopt);
        QCOMPARE(EventClassification::meetingKeywords().size(), 23);
        QCOMPARE(EventClassification::personalKeywords().size(), 10);
    }

    void matches_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("matches");
        QTest::newRow("zoom") << "https://zoom.us/j/123" << true;
        QTest::newRow("zoom in capitals") << "https://ZOOM.US/j/123" << true;
        QTest::newRow("regional sub-domain") << "https://us02web.zoom.us/j/123?pwd=x" << true;
        QTest::newRow("look-alike, no dot") << "https://evilzoom.us/j/123" << false;
        QTest::newRow("look-alike, known host inside") << "https://zoom.us.evil.com/j/1" << false;
        QTest::newRow("meet") << "https://meet.google.com/abc-defg-hij" << true;
        QTest::newRow("google, not meet") << "https://docs.google.com/document/d/1" << false;
        QTest::newRow("teams work") << "https://teams.microsoft.com/l/meetup-join/19%3a" << true;
        QTest::newRow("teams personal") << "https://teams.live.com/meet/123" << true;
        QTest::newRow("webex sub-domain") << "https://acme.webex.com/meet/ann" << true;
        QTest::newRow("facetime web link") << "https://facetime.apple.com/join#v=1&p=x" << true;
        QTest::newRow("apple, not facetime") << "https://www.apple.com/" << false;
        QTest::newRow("facetime scheme, no host") << "facetime:14085551234" << true;
        QTest::newRow("facetime scheme, other host") << "facetime://ann@example.com" << false;
        QTest::newRow("other scheme, no host") << "tel:+8412345" << false;
        QTest::newRow("nothing") << "" << false;
    }

    void matches()
    {
        QFETCH(QString, url);
        QFETCH(bool, matches);
        QCOMPARE(ConferenceLink::matches(QUrl(url)), matches);
    }

    // What a link detector would find in the free text of a location or notes.
    void firstConferenceURL_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("found");
        QTest::newRow("plain link before the join link")
            << "Agenda: https://docs.example.com/agenda (read first) then https://teams.microsoft.com/l/meetup-join/1"
            << "https://teams.microsoft.com/l/meetup-join/1";
        QTest::newRow("bare domain") << "Join at zoom.us/j/987654321." << "http://zoom.us/j/987654321";
        QTest::newRow("www name") << "www.webex.com/meet/ann, pin 4" << "http://www.webex.com/meet/ann";
        QTest::newRow("in angle brackets") << "Click here <https://meet.google.com/abc-defg-hij> to join"
                                           << "https://meet.google.com/abc-defg-hij";
        QTest::newRow("in parentheses") << "(https://zoom.us/j/1)" << "https://zoom.us/j/1";
        QTest::newRow("glued to a label") << "Join:https://zoom.us/j/5" << "https://zoom.us/j/5";
        QTest::newRow("after Vietnamese") << QString::fromUtf8("Họp tại https://meet.google.com/x-y-z nhé")
                                          << "https://meet.google.com/x-y-z";
        QTest::newRow("facetime scheme") << "Call me: facetime:ann@example.com" << "facetime:ann@example.com";
        QTest::newRow("address is no link") << "Write to ann@zoom.us" << "";
        QTest::newRow("look-alike only") << "https://zoom.us.evil.com/j/1 or evilzoom.us/j/2" << "";
        QTest::newRow("unterminated scheme") << "join: https://" << "";
        QTest::newRow("unterminated bracket") << "<https://zoom.us/j/77" << "https://zoom.us/j/77";
        QTest::newRow("sentence dots") << "e.g. see zoom.us." << "http://zoom.us";
        QTest::newRow("no text") << "" << "";
    }

    void firstConferenceURL()
    {
        QFETCH(QString, text);
        QFETCH(QString, found);
        const std::optional<QUrl> url = ConferenceLink::firstConferenceURL(text);
        QCOMPARE(url ? url->toString() : QString(), found);
    }

    // Text no person wrote: long, binary, one endless link. Nothing crashes, and a join link
    // after the noise is still found.
    void hostileText()
    {
        QString noise;
        QRandomGenerator random(7);
        for (int i = 0; i < 200'000; ++i)
            noise.append(QChar(char16_t(random.bounded(0, 0xD800))));
        QCOMPARE(ConferenceLink::firstConferenceURL(noise + " https://zoom.us/j/42 ")->toString(), "https://zoom.us/j/42");

        const QString endless = "https://zoom.us/" + QString(1'000'000, u'a');
        QCOMPARE(ConferenceLink::firstConferenceURL(endless), std::nullopt);
        const QString brackets = "https://zoom.us/" + QString(8000, u')');
        QVERIFY(ConferenceLink::findLinks(brackets).size() <= 1);
        const QString dots = QString(500'000, u'.') + QString(100'000, u'(') + "zoom.us";
        QCOMPARE(ConferenceLink::firstConferenceURL(dots + " meet.google.com/a")->host(), "meet.google.com");
        const QByteArray binary = QByteArray("\x00\xff\xfe https://zoom.us/j/9\x00 \x80", 24);
        QCOMPARE(ConferenceLink::firstConferenceURL(QString::fromLatin1(binary))->toString(), "https://zoom.us/j/9");
    }

    // The event's own URL first, if it is a conference link; then location, then notes.
    void detect_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("notes");
        QTest::addColumn<QString>("found");
        QTest::newRow("url field wins") << "https://zoom.us/j/1" << "meet.google.com/a-b-c" << "" << "https://zoom.us/j/1";
        QTest::newRow("other page in url field, location next")
            << "https://example.com/agenda" << "https://meet.google.com/a-b-c" << "https://zoom.us/j/2"
            << "https://meet.google.com/a-b-c";
        QTest::newRow("notes last") << "https://example.com" << "Room 4" << "Teams: https://teams.live.com/meet/9"
                                    << "https://teams.live.com/meet/9";
        QTest::newRow("nothing") << "" << "Room 4" << "Bring slides" << "";
    }

    void detect()
    {
        QFETCH(QString, url);
        QFETCH(QString, location);
        QFETCH(QString, notes);
        QFETCH(QString, found);
        CalendarStoreEvent event;
        event.url = QUrl(url);
        if (!location.isEmpty())
            event.location = location;
        if (!notes.isEmpty())
            event.notes = notes;
        const std::optional<QUrl> link = ConferenceLink::detect(event);
        QCOMPARE(link ? link->toString() : QString(), found);
    }

    // Persons only; a name, else the address's first piece; rooms count but are not named.
    void attendeesAndMirror()
    {
        CalendarStoreEvent event;
        event.eventIdentifier = "ev-1";
        event.title = "Lunch";
        event.calendarId = "work";
        event.attendees = {person("Ann"),
                           person("", "mailto:binh@example.com"),
                           person("", "mailto:mailto:@chi@example.com"),
                           person("", "mailto:@"),
                           room("Room 4"),
                           person("", "")};
        QCOMPARE(EventMirror::attendeeNames(event.attendees), (QStringList{"Ann", "binh", "chi"}));

        CalendarInfo calendar = EventMirror::calendarInfo({"work", "Work", std::nullopt, std::nullopt,
                                                           CalendarStoreCalendar::Type::ordinary, false});
        QCOMPARE(calendar.sourceTitle, "Other");
        QCOMPARE(calendar.color, CalendarInfo::defaultColor());
        QVERIFY(calendar.defaultVisible);
        QVERIFY(!EventMirror::calendarInfo({"s", "Holidays", "Web", QColor(Qt::red), CalendarStoreCalendar::Type::subscription, true})
                     .defaultVisible);
        QVERIFY(!EventMirror::calendarInfo({"b", "Birthdays", "Me", {}, CalendarStoreCalendar::Type::birthday, false}).defaultVisible);

        const EventInfo info = EventMirror::mirror(event, &calendar, false);
        QCOMPARE(info.id, "ev-1");
        QCOMPARE(info.participantCount, 6);
        QCOMPARE(info.calendarName, "Work");
        QCOMPARE(info.kind, EventKind::meeting);
        QVERIFY(!info.highConfidence);

        // Two people and a room: three participants, a meeting, not a 1:1.
        event.attendees = {person("Ann"), person("Binh"), room("Room 4")};
        event.title = "Review";
        QCOMPARE(EventMirror::mirror(event, &calendar, false).kind, EventKind::meeting);

        // No identifier from the store: a fresh one each time.
        event.eventIdentifier.clear();
        QVERIFY(!EventMirror::mirror(event, nullptr, false).id.isEmpty());
        QVERIFY(EventMirror::mirror(event, nullptr, false).id != EventMirror::mirror(event, nullptr, false).id);

        // 5,000 invited.
        event.attendees.clear();
        for (int i = 0; i < 5000; ++i)
            event.attendees.append(person("", QStringLiteral("mailto:p%1@example.com").arg(i)));
        event.notes = "https://zoom.us/j/5000";
        const EventInfo crowd = EventMirror::mirror(event, &calendar, false);
        QCOMPARE(crowd.participantCount, 5000);
        QCOMPARE(crowd.attendees.size(), 5000);
        QCOMPARE(crowd.attendees.last(), "p4999");
        QCOMPARE(crowd.kind, EventKind::webinar);
    }
};

ONDEL_TEST_MAIN(TestCalendarClassification)
#include "tst_calendarclassification.moc"
