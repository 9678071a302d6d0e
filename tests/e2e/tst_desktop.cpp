#include "DesktopRig.h"
#include "TestEnvironment.h"

#include <QColor>
#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QUuid>

#include <optional>

namespace {

const QString kThem = QStringLiteral("the weather is lovely today and we should plan the project review");

struct StoredTurn
{
    QString meetingId;
    QString role;
    QString text;
};

QList<StoredTurn> storedTurns()
{
    return readStore<StoredTurn>(QStringLiteral("SELECT meeting_id, role_raw, text FROM chat_messages ORDER BY seq"),
                                 [](const QSqlQuery &q) {
                                     return StoredTurn{q.value(0).toString(), q.value(1).toString(), q.value(2).toString()};
                                 });
}

} // namespace

// The desktop app as a user drives it, on real parts: a private X server, PulseAudio, keyring
// and local speech-to-text server. A quick note started from the keyboard records what the
// computer plays, and the meeting outlives the app.
class TestDesktop : public QObject
{
    Q_OBJECT

    PrivateDesktop m_desktop;
    PulseServer &m_pulse = m_desktop.pulse;
    XServer &m_x = m_desktop.x;
    QProcess m_stt;
    QTemporaryDir m_dir;
    QString m_meetingId;
    QString m_windowId;

    // The one visible top-level window titled "Ondel".
    QString mainWindow() const
    {
        const QString ids = m_x.run(QStringLiteral("xdotool"),
                                    {QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                                     QStringLiteral("--name"), QStringLiteral("^Ondel$")})
                                .value_or(QString());
        return ids.split(QLatin1Char('\n'), Qt::SkipEmptyParts).value(0);
    }

    // The mean lightness (0 to 255) of the window's area in a screenshot, or -1.
    double windowLightness(const QString &file) const
    {
        const QString shell = m_x.run(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), m_windowId})
                                  .value_or(QString());
        QHash<QString, int> geometry;
        for (const QString &line : shell.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            geometry.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1).toInt());
        const QImage image(file);
        const QRect window = QRect(geometry.value(QStringLiteral("X")), geometry.value(QStringLiteral("Y")),
                                   geometry.value(QStringLiteral("WIDTH")), geometry.value(QStringLiteral("HEIGHT")))
                                 .intersected(image.rect());
        if (image.isNull() || window.width() < 400 || window.height() < 300)
            return -1;
        double sum = 0;
        int count = 0;
        for (int y = window.top(); y <= window.bottom(); y += 4)
            for (int x = window.left(); x <= window.right(); x += 4, ++count)
                sum += QColor(image.pixel(x, y)).lightness();
        return sum / count;
    }

    // The window's size, from the X server.
    QSize windowSize() const
    {
        const QString shell = m_x.run(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), m_windowId})
                                  .value_or(QString());
        QSize size;
        for (const QString &line : shell.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            if (line.startsWith(QLatin1String("WIDTH=")))
                size.setWidth(line.mid(6).toInt());
            else if (line.startsWith(QLatin1String("HEIGHT=")))
                size.setHeight(line.mid(7).toInt());
        }
        return size;
    }

    // A click at a point measured from the window's bottom right corner, where the strip and
    // the action bar keep their buttons whatever the window's size.
    bool clickFromBottomRight(int right, int bottom) const
    {
        const QSize size = windowSize();
        return m_x.run(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QStringLiteral("--window"), m_windowId,
                                                   QString::number(size.width() - right), QString::number(size.height() - bottom),
                                                   QStringLiteral("click"), QStringLiteral("1")})
            .has_value();
    }

    bool type(const QString &text) const
    {
        return m_x.run(QStringLiteral("xdotool"), {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("20"), text}).has_value()
            && m_x.run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Return")}).has_value();
    }

    QString speech(const QString &name, const QString &text) const
    {
        return speechFile(m_dir.filePath(name + QStringLiteral(".wav")), text);
    }

    // A quick note started from the keyboard in a freshly started app, and `sound` played to
    // the speakers once the start chord is over (its span is blanked from "Them").
    void recordQuickNote(DesktopApp &app, const QString &sound)
    {
        QVERIFY2(app.waitFor(QStringLiteral("[Ondel] Main window shown")), qPrintable(app.log()));
        // No window manager: the window gets the keyboard straight from the X server.
        m_windowId = mainWindow();
        QVERIFY2(!m_windowId.isEmpty(), qPrintable(app.log()));
        QVERIFY(m_x.run(QStringLiteral("xdotool"), {QStringLiteral("windowfocus"), QStringLiteral("--sync"), m_windowId}).has_value());
        QVERIFY(m_x.run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("ctrl+n")}).has_value());
        QVERIFY2(app.waitFor(QStringLiteral("[Ondel] Recording session started (system audio: active)")), qPrintable(app.log()));
        QVERIFY(m_desktop.playAfterStartChord(sound));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString desktop = m_desktop.start();
        QVERIFY2(desktop.isEmpty(), qPrintable(desktop));

        const int port = startServer(m_stt, QStringLiteral(ONDEL_STT_SERVER), m_dir.filePath(QStringLiteral("stt.log")));
        QVERIFY(port > 0);

        QCOMPARE(cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("vrelDirectBase"),
                      QStringLiteral("http://127.0.0.1:%1/").arg(port)})
                     .code,
                 0);
        const CliRun key = cli({QStringLiteral("key"), QStringLiteral("set")}, "sk-desktop-test\n");
        QVERIFY2(key.code == 0, qPrintable(key.err));
    }

    void cleanupTestCase()
    {
        stopProcess(m_stt);
        m_desktop.stop();
    }

    void recordsAQuickNoteStartedFromTheKeyboard()
    {
        DesktopApp app(m_x.display());
        recordQuickNote(app, speech(QStringLiteral("them"), kThem));
        if (QTest::currentTestFailed())
            return;

        QTRY_VERIFY2_WITH_TIMEOUT(themLineOf(kThem).has_value(), qPrintable(describe(storedLines()) + QLatin1Char('\n') + app.log()),
                                  kLineTimeoutMs);
        const StoredLine line = *themLineOf(kThem);
        const QList<StoredMeeting> meetings = storedMeetings();
        QCOMPARE(meetings.size(), 1);
        QCOMPARE(line.meetingId, meetings.first().id);
        QVERIFY(meetings.first().isRecording);
        for (const StoredLine &other : storedLines())
            QVERIFY2(other.speaker != QLatin1String("Me"), qPrintable(other.text)); // the microphone was silent
        m_meetingId = line.meetingId;

        QTest::qWait(1000); // the line reaches the screen a frame after the store
        const QString shot = screenshotPath(QStringLiteral("desktop-recording-light.png"));
        QVERIFY(m_x.screenshot(shot));
        const double lightness = windowLightness(shot);
        QVERIFY2(lightness > 170, qPrintable(QString::number(lightness))); // drawn, and light by default
        QVERIFY(app.isRunning());
        app.stop(); // mid-recording, as a crash or a logout would
    }

    // Runs after the recording above: the stale meeting is repaired, and the look follows the setting.
    void reopensInTheDarkWithTheMeetingKept()
    {
        QVERIFY(!m_meetingId.isEmpty());
        const CliRun theme = cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("appTheme"), QStringLiteral("dark")});
        QVERIFY2(theme.code == 0, qPrintable(theme.err));
        {
            DesktopApp app(m_x.display());
            QVERIFY2(app.waitFor(QStringLiteral("[Ondel] Main window shown")), qPrintable(app.log()));
            QVERIFY2(app.waitFor(QStringLiteral("[Ondel] Finalizing 1 stale recording(s) from a previous session")), qPrintable(app.log()));
            QTRY_VERIFY_WITH_TIMEOUT(storedMeetings().size() == 1 && !storedMeetings().first().isRecording, 60000);
            QCOMPARE(storedMeetings().first().id, m_meetingId);
            QVERIFY2(themLineOf(kThem).has_value(), qPrintable(describe(storedLines())));

            m_windowId = mainWindow();
            QVERIFY2(!m_windowId.isEmpty(), qPrintable(app.log()));
            QTest::qWait(1000); // the repaired meeting reaches the list a frame after the store
            const QString shot = screenshotPath(QStringLiteral("desktop-dark.png"));
            QVERIFY(m_x.screenshot(shot));
            const double lightness = windowLightness(shot);
            QVERIFY2(lightness >= 0 && lightness < 90, qPrintable(QString::number(lightness)));
            QVERIFY(app.isRunning());
        }

        // The app let go of the data: the command line sees the same meeting.
        const CliRun list = cli({QStringLiteral("meetings"), QStringLiteral("--json")});
        QVERIFY2(list.code == 0, qPrintable(list.err));
        const QJsonArray meetings = QJsonDocument::fromJson(list.out.toUtf8()).array();
        QCOMPARE(meetings.size(), 1);
        const QJsonObject meeting = meetings.first().toObject();
        QCOMPARE(QUuid::fromString(meeting.value(QStringLiteral("id")).toString()), QUuid::fromString(m_meetingId));
        QCOMPARE(meeting.value(QStringLiteral("isRecording")).toBool(), false);
        QVERIFY(meeting.value(QStringLiteral("lineCount")).toInt() >= 1);
    }

    // A meeting recorded from the window: its lines come into the feed as they are stored, the
    // notes written at the stop show as blocks, and a question about it is answered.
    void recordsStopsAndAnswersFromTheMeetingScreen_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::newRow("light") << QStringLiteral("light");
        QTest::newRow("dark") << QStringLiteral("dark");
    }
    void recordsStopsAndAnswersFromTheMeetingScreen()
    {
        QFETCH(QString, theme);
        QCOMPARE(cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("appTheme"), theme}).code, 0);
        const QSet<QString> before = [] {
            QSet<QString> ids;
            for (const StoredMeeting &meeting : storedMeetings())
                ids.insert(meeting.id);
            return ids;
        }();

        DesktopApp app(m_x.display());
        recordQuickNote(app, speech(QStringLiteral("them"), kThem));
        if (QTest::currentTestFailed())
            return;

        // The new meeting's line, while it still records: the screen shows it in the feed.
        const auto newLine = [&]() -> std::optional<StoredLine> {
            for (const StoredLine &candidate : storedLines())
                if (!before.contains(candidate.meetingId) && candidate.speaker == QLatin1String("Them")
                    && wordsFound(kThem, candidate.text) >= 0.7)
                    return candidate;
            return std::nullopt;
        };
        QTRY_VERIFY2_WITH_TIMEOUT(newLine().has_value(), qPrintable(describe(storedLines()) + QLatin1Char('\n') + app.log()),
                                  kLineTimeoutMs);
        const QString meetingId = newLine()->meetingId;
        QVERIFY(storedMeeting(meetingId)->isRecording);
        QTest::qWait(1500); // the bubble is drawn a frame after the store, and the dots move
        QVERIFY(m_x.screenshot(screenshotPath(QStringLiteral("meeting-recording-%1.png").arg(theme))));

        // Stop, in the strip; the notes are written and replace the empty notes area.
        QVERIFY(clickFromBottomRight(50, 26));
        QTRY_VERIFY2_WITH_TIMEOUT(!storedMeeting(meetingId)->isRecording && !storedMeeting(meetingId)->summary.isEmpty(),
                                  qPrintable(app.log()), 120000);
        QVERIFY2(storedMeeting(meetingId)->summary.contains(QLatin1String("## Summary")), qPrintable(storedMeeting(meetingId)->summary));
        QTest::qWait(1000);
        QVERIFY(m_x.screenshot(screenshotPath(QStringLiteral("meeting-notes-%1.png").arg(theme))));

        // "Ask" in the action bar opens the chat with the keyboard in its composer.
        QVERIFY(clickFromBottomRight(64, 78));
        QTest::qWait(500);
        QVERIFY(type(QStringLiteral("What was planned?")));
        const auto answered = [&] {
            for (const StoredTurn &turn : storedTurns())
                if (turn.meetingId == meetingId && turn.role == QLatin1String("assistant"))
                    return true;
            return false;
        };
        QTRY_VERIFY2_WITH_TIMEOUT(answered(), qPrintable(app.log()), 60000);
        QCOMPARE(storedTurns().constFirst().text.isEmpty(), false);
        QTest::qWait(1000);
        QVERIFY(m_x.screenshot(screenshotPath(QStringLiteral("meeting-chat-%1.png").arg(theme))));
        QVERIFY(app.isRunning());
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    // The app's single-instance socket lives in the test's own folder.
    qputenv("XDG_RUNTIME_DIR", environment.root().toUtf8());
    QCoreApplication app(argc, argv);
    TestDesktop test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_desktop.moc"
