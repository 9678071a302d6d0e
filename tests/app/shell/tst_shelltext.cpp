// The words and numbers the shell shows: lengths, clocks, relative dates, date groups, and
// the theme word.
#include "Appearance.h"
#include "FakeDesktop.h"
#include "MeetingDateGroup.h"
#include "MeetingText.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <QtTest>

class ShellTextTest : public QObject
{
    Q_OBJECT

    TestEnvironment m_env;

private Q_SLOTS:
    void lengths_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("card");
        QTest::newRow("none") << 0.0 << "<1m" << "<1m";
        QTest::newRow("just under a minute") << 59.9 << "<1m" << "<1m";
        QTest::newRow("a minute") << 60.0 << "1m" << "1m";
        QTest::newRow("an hour and a half: rows never use hours") << 5400.0 << "90m" << "1h 30m";
        QTest::newRow("one hour five") << 3900.7 << "65m" << "1h 5m";
        QTest::newRow("exactly an hour") << 3600.0 << "60m" << "1h 0m";
        QTest::newRow("garbage") << std::nan("") << "<1m" << "<1m";
        QTest::newRow("negative") << -30.0 << "<1m" << "<1m";
    }
    void lengths()
    {
        QFETCH(double, seconds);
        QFETCH(QString, row);
        QFETCH(QString, card);
        QCOMPARE(MeetingText::rowDuration(seconds), row);
        QCOMPARE(MeetingText::cardDuration(seconds), card);
    }

    void clocks_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("strip");
        QTest::addColumn<QString>("menu");
        QTest::newRow("start") << 0.0 << "0:00" << "0:00";
        QTest::newRow("truncated") << 65.9 << "1:05" << "1:05";
        QTest::newRow("last second of the hour") << 3599.0 << "59:59" << "59:59";
        QTest::newRow("an hour") << 3600.0 << "1:00:00" << "60:00";
    }
    void clocks()
    {
        QFETCH(double, seconds);
        QFETCH(QString, strip);
        QFETCH(QString, menu);
        QCOMPARE(MeetingText::stripElapsed(seconds), strip);
        QCOMPARE(MeetingText::menuElapsed(seconds), menu);
    }

    void relativeDates_data()
    {
        QTest::addColumn<qint64>("secondsAgo");
        QTest::addColumn<QString>("text");
        QTest::newRow("seconds") << qint64(20) << "now";
        QTest::newRow("one minute") << qint64(61) << "1 minute ago";
        QTest::newRow("minutes") << qint64(5 * 60) << "5 minutes ago";
        QTest::newRow("hours") << qint64(3 * 3600) << "3 hours ago";
        QTest::newRow("yesterday") << qint64(30 * 3600) << "yesterday";
        QTest::newRow("days") << qint64(3 * 86400) << "3 days ago";
        QTest::newRow("weeks") << qint64(15 * 86400) << "2 weeks ago";
        QTest::newRow("future") << qint64(-2 * 3600) << "in 2 hours";
    }
    void relativeDates()
    {
        QFETCH(qint64, secondsAgo);
        QFETCH(QString, text);
        const QDateTime now(QDate(2026, 11, 22), QTime(18, 0), Qt::LocalTime);
        QCOMPARE(MeetingText::relativeDate(now.addSecs(-secondsAgo), now), text);
        QCOMPARE(MeetingText::relativeDate(QDateTime(), now), QString());
    }

    void dateGroups()
    {
        const QDateTime now(QDate(2026, 11, 22), QTime(9, 30), Qt::LocalTime);
        auto at = [](const QDateTime &date, const QString &title) {
            Meeting m;
            m.date = date.toUTC();
            m.title = title;
            return m;
        };
        const QList<Meeting> meetings{
            at(now.addSecs(-60), "a"),                          // today
            at(QDateTime(now.date(), QTime(0, 0), Qt::LocalTime), "b"), // today's first moment
            at(now.addDays(-1), "c"),                           // yesterday
            at(now.addDays(-7).addSecs(1), "d"),                // just inside the week
            at(now.addDays(-7), "e"),                           // exactly seven days ago: earlier
            at(now.addDays(-400), "f"),
            at(now.addDays(-2), "g"),                           // the week, after "d" in the input
        };
        const QList<MeetingDateGroup> groups = groupMeetingsByDate(meetings, now.toUTC());
        QStringList shape;
        for (const MeetingDateGroup &g : groups) {
            QStringList titles;
            for (const Meeting &m : g.meetings)
                titles << m.title;
            shape << g.title + ":" + titles.join(',');
        }
        QCOMPARE(shape, (QStringList{"Today:a,b", "Yesterday:c", "This Week:d,g", "Earlier:e,f"}));
        QVERIFY(groupMeetingsByDate({}, now).isEmpty());
        // Empty buckets are left out, and a later one keeps its place.
        QCOMPARE(groupMeetingsByDate({at(now.addDays(-30), "x")}, now).constFirst().title, QStringLiteral("Earlier"));
    }

    void themeFollowsTheSettingAndTheDesktop()
    {
        Settings settings(m_env.configHome() + "/theme-settings.json");
        FakeDesktop desktop;
        Appearance appearance(settings, &desktop);
        QSignalSpy changed(&appearance, &Appearance::darkChanged);

        QVERIFY(!appearance.dark());
        desktop.setDark(true);
        QVERIFY(appearance.dark());
        settings.setAppTheme("light");
        QVERIFY(!appearance.dark());
        desktop.setDark(false);
        settings.setAppTheme("dark");
        QVERIFY(appearance.dark());
        // An unknown word follows the desktop, as "system" does.
        settings.setAppTheme("sepia");
        QVERIFY(!appearance.dark());
        desktop.setDark(true);
        QVERIFY(appearance.dark());
        QCOMPARE(changed.count(), 5);
    }
};

QTEST_MAIN(ShellTextTest)
#include "tst_shelltext.moc"
