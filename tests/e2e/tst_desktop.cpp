#include "DesktopRig.h"
#include "ScreenReader.h"
#include "TestEnvironment.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QUuid>

namespace {

const QString kThem = QStringLiteral("the weather is lovely today and we should plan the project review");

} // namespace

// The desktop app as a user drives it from the keyboard, on the local speech-to-text server: a
// quick note records what the computer plays, the meeting outlives the app, and the meeting
// screen shows the feed with its rough live text, the notes and an answer.
class TestDesktop : public DesktopTest
{
    Q_OBJECT

    QString m_meetingId;
    ScreenReader m_reader;

    // The rough live text on the screen (read out as a label, unlike the finished lines), if
    // it holds some of the sentence.
    std::optional<QString> roughText() const
    {
        for (const ScreenReader::Control &control : m_reader.controls())
            if (control.role == QLatin1String("label") && wordsFound(kThem, control.name) >= 0.2)
                return control.name;
        return std::nullopt;
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString desktop = startDesktop(QStringLiteral(ONDEL_STT_SERVER));
        QVERIFY2(desktop.isEmpty(), qPrintable(desktop));
        QVERIFY(configure("vrelDirectBase", m_origin));
        const CliRun key = cli({"key", "set"}, "sk-desktop-test\n");
        QVERIFY2(key.code == 0, qPrintable(key.err));
        const QString reader = m_reader.start();
        QVERIFY2(reader.isEmpty(), qPrintable(reader));
    }
    void cleanupTestCase()
    {
        m_app.reset();
        m_reader.stop();
        stopDesktop();
    }

    // The first launch: the tour in a window of its own, in front of the main one and with the
    // keyboard; "Get started" is its default button.
    void recordsAQuickNoteStartedFromTheKeyboard()
    {
        m_app = std::make_unique<AppProcess>(QStringList(), m_x.environment());
        QVERIFY2(m_app->waitFor("[Ondel] Main window shown"), qPrintable(failure()));
        const auto visible = [this](const QString &name) {
            return m_x.run("xdotool", {"search", "--onlyvisible", "--name", name}).value_or(QString()).split('\n', Qt::SkipEmptyParts);
        };
        QTRY_VERIFY_WITH_TIMEOUT(visible("^Welcome to Ondel$").size() == 1, 30000);
        const QString tour = visible("^Welcome to Ondel$").constFirst();
        // Without a window manager the stacking is the X server's: the tour is the topmost of the two.
        QCOMPARE(visible("Ondel$").constLast(), tour);
        QTRY_COMPARE_WITH_TIMEOUT(m_x.run("xdotool", {"getwindowfocus"}).value_or(QString()).trimmed(), tour, 10000);
        QTest::qWait(500);
        QVERIFY(screenshot("desktop-first-launch") >= 0);
        QVERIFY(key("space"));
        QVERIFY(m_x.xdotool({"windowfocus", "--sync", m_x.mainWindow()}));
        QVERIFY2(recordQuickNote(kThem), qPrintable(failure()));
        QTRY_VERIFY2_WITH_TIMEOUT(themLineOf(kThem), qPrintable(describe(storedLines()) + QLatin1Char('\n') + failure()), kLineTimeoutMs);
        m_meetingId = themLineOf(kThem)->meetingId;
        QVERIFY(storedMeeting() && storedMeeting()->id == m_meetingId && storedMeeting()->isRecording);
        for (const StoredLine &other : storedLines())
            QVERIFY2(other.speaker != QLatin1String("Me"), qPrintable(other.text)); // the microphone was silent

        QTest::qWait(1000); // the line reaches the screen a frame after the store
        const double lightness = screenshot("desktop-recording-light");
        QVERIFY2(lightness > 170, qPrintable(QString::number(lightness))); // drawn, and light by default
        QVERIFY(m_app->isRunning());
        m_app.reset(); // mid-recording, as a crash or a logout would
    }

    // Runs after the recording above: the stale meeting is repaired, and the look follows the setting.
    void reopensInTheDarkWithTheMeetingKept()
    {
        QVERIFY(!m_meetingId.isEmpty());
        // "Get started" made the tour done: it does not come back.
        QCOMPARE(cli({"config", "get", "onboardingCompleted"}).out.trimmed(), QStringLiteral("true"));
        QVERIFY(configure("appTheme", "dark"));
        QVERIFY2(startApp(), qPrintable(failure()));
        QVERIFY(!m_x.run("xdotool", {"search", "--onlyvisible", "--name", "^Welcome to Ondel$"}));
        QVERIFY2(m_app->waitFor("[Ondel] Finalizing 1 stale recording(s) from a previous session"), qPrintable(failure()));
        QTRY_VERIFY_WITH_TIMEOUT(storedMeeting() && storedMeeting()->id == m_meetingId && !storedMeeting()->isRecording, 60000);
        QVERIFY2(themLineOf(kThem), qPrintable(describe(storedLines())));
        QTest::qWait(1000); // the repaired meeting reaches the list a frame after the store
        const double lightness = screenshot("desktop-dark");
        QVERIFY2(lightness >= 0 && lightness < 90, qPrintable(QString::number(lightness)));
        QVERIFY(m_app->isRunning());
        m_app.reset();

        // The app let go of the data: the command line sees the same meeting.
        const QJsonArray meetings = cliJson({"meetings", "--json"}).array();
        QCOMPARE(meetings.size(), 1);
        QCOMPARE(QUuid::fromString(meetings[0]["id"].toString()), QUuid::fromString(m_meetingId));
        QCOMPARE(meetings[0]["isRecording"].toBool(), false);
        QVERIFY(meetings[0]["lineCount"].toInt() >= 1);
    }

    // A meeting recorded from the window with the live draft on: while the sentence plays its
    // rough text shows, dimmed, and the finished line replaces it; the notes written at the stop
    // show as blocks, and a question about it is answered.
    void recordsStopsAndAnswersFromTheMeetingScreen_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::newRow("light") << "light";
        QTest::newRow("dark") << "dark";
    }
    void recordsStopsAndAnswersFromTheMeetingScreen()
    {
        QFETCH(QString, theme);
        QVERIFY(configure("appTheme", theme) && configure("liveDraftEnabled", "true"));
        qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
        QSet<QString> before;
        for (const StoredLine &line : storedLines())
            before.insert(line.meetingId);

        QVERIFY2(startApp() && recordQuickNote(kThem), qPrintable(failure()));
        QVERIFY2(m_app->waitFor(QStringLiteral("[Ondel] Live draft running on-device")), qPrintable(failure()));
        std::optional<QString> rough;
        QTRY_VERIFY2_WITH_TIMEOUT((rough = roughText()) || themLineOf(kThem, before), qPrintable(failure()), kLineTimeoutMs);
        QVERIFY2(rough, qPrintable(QStringLiteral("the line came before any rough text\n") + m_reader.describe()));
        QVERIFY(screenshot(QStringLiteral("meeting-draft-") + theme) >= 0);
        QTRY_VERIFY2_WITH_TIMEOUT(themLineOf(kThem, before), qPrintable(describe(storedLines()) + QLatin1Char('\n') + failure()),
                                  kLineTimeoutMs);
        QTRY_VERIFY2_WITH_TIMEOUT(!roughText(), qPrintable(m_reader.describe()), 10000); // the finished line took its place
        const QString meetingId = themLineOf(kThem, before)->meetingId;
        QVERIFY(storedMeeting(meetingId)->isRecording);
        QTest::qWait(1500); // the bubble is drawn a frame after the store, and the dots move
        QVERIFY(screenshot("meeting-recording-" + theme) >= 0);

        // Stop, in the strip, at the window's bottom right whatever its size; the notes are
        // written and replace the empty notes area.
        const QRect window = m_x.mainWindowGeometry();
        QVERIFY(click(window.bottomRight() - QPoint(49, 25)));
        QTRY_VERIFY2_WITH_TIMEOUT(!storedMeeting(meetingId)->isRecording && !storedMeeting(meetingId)->summary.isEmpty(), qPrintable(failure()),
                                  120000);
        QVERIFY2(storedMeeting(meetingId)->summary.contains(QLatin1String("## Summary")), qPrintable(storedMeeting(meetingId)->summary));
        QTest::qWait(1000);
        QVERIFY(screenshot("meeting-notes-" + theme) >= 0);

        // "Ask" in the action bar opens the chat with the keyboard in its composer.
        QVERIFY(click(window.bottomRight() - QPoint(63, 77)));
        QTest::qWait(500);
        QVERIFY(type("What was planned?") && key("Return"));
        const auto answer = [&] {
            return readStore<QString>(QStringLiteral("SELECT text FROM chat_messages WHERE role_raw = 'assistant' AND meeting_id = '%1'").arg(meetingId),
                                      [](const QSqlQuery &q) { return q.value(0).toString(); });
        };
        QTRY_VERIFY2_WITH_TIMEOUT(!answer().isEmpty(), qPrintable(failure()), 60000);
        QVERIFY(!answer().constFirst().isEmpty());
        QTest::qWait(1000);
        QVERIFY(screenshot("meeting-chat-" + theme) >= 0);
        QVERIFY(m_app->isRunning());
        m_app.reset();
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
