#include "DesktopRig.h"
#include "ScreenReader.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <QClipboard>
#include <QColor>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <cstdio>

namespace {

const QString kThem = QStringLiteral("the weather is lovely today and we should plan the project review");
const QString kEmail = QStringLiteral("ana@example.com");
const QString kCode = QStringLiteral("424242"); // the one the local cloud "mails"
constexpr int kNotesTimeoutMs = 120000;

} // namespace

// Signing in with an emailed code in the desktop app, and what the account then reaches, on
// real parts: a private X server, PulseAudio, keyring and accessibility bus, and a local
// cloud that serves the account, the shares and the models. The app is driven with the mouse
// and the keyboard; its controls are found as a screen reader finds them.
class TestSignIn : public QObject
{
    Q_OBJECT

    PrivateDesktop m_desktop;
    PulseServer &m_pulse = m_desktop.pulse;
    XServer &m_x = m_desktop.x;
    ScreenReader m_reader;
    QProcess m_cloud;
    QTemporaryDir m_dir;
    QString m_origin;
    std::unique_ptr<DesktopApp> m_app;

    // The cloud's requests so far, each {"method", "path", "session"}.
    QList<QJsonObject> cloudRequests() const
    {
        QFile file(m_dir.filePath(QStringLiteral("cloud.log")));
        QList<QJsonObject> requests;
        if (!file.open(QIODevice::ReadOnly))
            return requests;
        for (const QByteArray &line : file.readAll().split('\n')) {
            const QJsonObject entry = QJsonDocument::fromJson(line).object();
            if (entry.contains(QLatin1String("path")))
                requests << entry;
        }
        return requests;
    }
    int cloudRequests(const QString &path, bool withSession) const
    {
        int count = 0;
        for (const QJsonObject &request : cloudRequests())
            count += request.value(QLatin1String("path")).toString() == path
                && request.value(QLatin1String("session")).toBool() == withSession;
        return count;
    }

    bool startApp()
    {
        m_app = std::make_unique<DesktopApp>(m_x.display());
        if (!m_app->waitFor(QStringLiteral("[Ondel] Main window shown")))
            return false;
        // No window manager: the window gets the keyboard straight from the X server.
        const QString window = m_x.mainWindow();
        return !window.isEmpty() && m_x.xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), window});
    }

    bool click(const ScreenReader::Control &control) const
    {
        return m_x.xdotool({QStringLiteral("mousemove"), QString::number(control.center().x()), QString::number(control.center().y()),
                            QStringLiteral("click"), QStringLiteral("1")});
    }
    bool key(const QString &chord) const { return m_x.xdotool({QStringLiteral("key"), chord}); }
    bool type(const QString &text) const
    {
        return m_x.xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("20"), text});
    }

    // The clipboard of the private display, read by this program as another client of it.
    QString clipboard() const
    {
        return m_x.run(QCoreApplication::applicationFilePath(), {QStringLiteral("--print-clipboard")}).value_or(QString());
    }

    // The mean lightness (0 to 255) of the window's area in a screenshot, or -1.
    double windowLightness(const QString &file) const
    {
        const QImage image(file);
        const QRect window = QRect(0, 0, 1120, 740).intersected(image.rect()); // its default size, at the corner
        if (image.isNull() || window.width() < 400)
            return -1;
        double sum = 0;
        int count = 0;
        for (int y = window.top(); y <= window.bottom(); y += 4)
            for (int x = window.left(); x <= window.right(); x += 4, ++count)
                sum += QColor(image.pixel(x, y)).lightness();
        return sum / count;
    }

    QString speech(const QString &name, const QString &text) const
    {
        return speechFile(m_dir.filePath(name + QStringLiteral(".wav")), text);
    }

    QString failure() { return m_reader.describe() + QLatin1Char('\n') + (m_app ? m_app->log() : QString()); }

private Q_SLOTS:
    void initTestCase()
    {
        const QString desktop = m_desktop.start();
        QVERIFY2(desktop.isEmpty(), qPrintable(desktop));
        const QString reader = m_reader.start();
        QVERIFY2(reader.isEmpty(), qPrintable(reader));

        const int port = startServer(m_cloud, QStringLiteral(ONDEL_CLOUD_SERVER), m_dir.filePath(QStringLiteral("cloud.log")));
        QVERIFY(port > 0);
        m_origin = QStringLiteral("http://127.0.0.1:%1/").arg(port);
        // Every service the app may reach is the local one.
        for (const char *key : {"ondelCloudBase", "vrelDirectBase", "vrelWebBase", "ondelWebBase"}) {
            const CliRun set = cli({QStringLiteral("config"), QStringLiteral("set"), QLatin1String(key), m_origin});
            QVERIFY2(set.code == 0, qPrintable(set.err));
        }
        qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    }

    void cleanupTestCase()
    {
        m_app.reset();
        stopProcess(m_cloud);
        m_reader.stop();
        m_desktop.stop();
    }

    void signsInWithAnEmailedCode()
    {
        QVERIFY2(startApp(), qPrintable(failure()));
        QVERIFY(m_reader.waitFor(QStringLiteral("list item"), QStringLiteral("Sign in")));
        QVERIFY(key(QStringLiteral("ctrl+comma")));

        const auto email = m_reader.waitFor(QStringLiteral("text"), QStringLiteral("Email address"));
        QVERIFY2(email, qPrintable(failure()));
        QVERIFY(click(*email));
        QVERIFY(type(QStringLiteral("  Ana@Example.com ")));
        QVERIFY(key(QStringLiteral("Return")));

        // The code view takes the keyboard.
        QVERIFY2(m_reader.waitFor(QStringLiteral("text"), QStringLiteral("6-digit code")), qPrintable(failure()));
        QCOMPARE(cloudRequests(QStringLiteral("/v1/auth/request"), false), 1);
        QVERIFY(type(kCode));
        QVERIFY(key(QStringLiteral("Return")));
        QVERIFY2(m_app->waitFor(QStringLiteral("[Ondel] Signed in")), qPrintable(failure()));

        // The account's record, fetched with the new session, fills the usage bar.
        const auto usage = m_reader.waitFor(QStringLiteral("progress bar"), QStringLiteral("0 of 60 minutes used"));
        QVERIFY2(usage, qPrintable(failure()));
        QVERIFY(cloudRequests(QStringLiteral("/v1/me"), true) >= 1);
        QVERIFY(m_reader.find(QStringLiteral("list item"), kEmail));
        QVERIFY(m_reader.find(QStringLiteral("push button"), QStringLiteral("Sign out")));

        QTest::qWait(500); // the bar is drawn a frame after it is known
        const QString shot = screenshotPath(QStringLiteral("signin-settings-light.png"));
        QVERIFY(m_x.screenshot(shot));
        QVERIFY2(windowLightness(shot) > 170, qPrintable(QString::number(windowLightness(shot))));

        // The session token and the address stay out of the log and the settings.
        QVERIFY2(!m_app->log().contains(QLatin1String("session-")), qPrintable(m_app->log()));
        QVERIFY2(!m_app->log().contains(kEmail, Qt::CaseInsensitive), qPrintable(m_app->log()));
        QFile settings(Settings::shared().filePath());
        QVERIFY(settings.open(QIODevice::ReadOnly));
        const QByteArray stored = settings.readAll();
        QVERIFY2(!stored.contains("session-") && !stored.contains(kEmail.toUtf8()), stored.constData());
    }

    // Runs after the sign-in: the account's session reaches the models and publishes the notes.
    void recordsAndSharesWithTheAccount()
    {
        QVERIFY(m_app && m_app->isRunning());
        const QString them = speech(QStringLiteral("them"), kThem);
        QVERIFY(key(QStringLiteral("ctrl+n")));
        QVERIFY2(m_app->waitFor(QStringLiteral("[Ondel] Recording session started (system audio: active)")), qPrintable(failure()));

        QVERIFY(m_desktop.playAfterStartChord(them));
        QTRY_VERIFY2_WITH_TIMEOUT(themLineOf(kThem).has_value(), qPrintable(describe(storedLines()) + QLatin1Char('\n') + failure()),
                                  kLineTimeoutMs);
        // The cloud answers the models only to a session: the line came through the account.
        QVERIFY(cloudRequests(QStringLiteral("/v1/audio/transcriptions"), true) >= 1);
        QCOMPARE(cloudRequests(QStringLiteral("/v1/audio/transcriptions"), false), 0);
        const QString meetingId = themLineOf(kThem)->meetingId;

        const auto stop = m_reader.waitFor(QStringLiteral("push button"), QStringLiteral("Stop"));
        QVERIFY2(stop, qPrintable(failure()));
        QVERIFY(click(*stop));
        QTRY_VERIFY2_WITH_TIMEOUT(storedMeeting(meetingId) && !storedMeeting(meetingId)->summary.isEmpty(), qPrintable(failure()),
                                  kNotesTimeoutMs);
        QVERIFY(cloudRequests(QStringLiteral("/v1/chat/completions"), true) >= 1);

        // The quick note's page is still up: share its notes.
        const auto share = m_reader.waitFor(QStringLiteral("push button"), QStringLiteral("Share"));
        QVERIFY2(share, qPrintable(failure()));
        QVERIFY(click(*share));
        QVERIFY2(m_reader.waitFor(QStringLiteral("push button"), QStringLiteral("Open in browser")), qPrintable(failure()));
        QCOMPARE(cloudRequests(QStringLiteral("/v1/shares"), true), 1);
        QCOMPARE(clipboard(), m_origin + QStringLiteral("s/share-1"));
        const QString shot = screenshotPath(QStringLiteral("signin-shared-light.png"));
        QVERIFY(m_x.screenshot(shot));
        QVERIFY(key(QStringLiteral("Escape")));
    }

    // Runs after the two above: the session outlives the app, in the keyring, and signing out
    // asks first.
    void keepsTheAccountAcrossARestartInTheDark()
    {
        m_app.reset();
        const CliRun theme = cli({QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("appTheme"), QStringLiteral("dark")});
        QVERIFY2(theme.code == 0, qPrintable(theme.err));
        QVERIFY2(startApp(), qPrintable(failure()));
        QVERIFY2(m_reader.waitFor(QStringLiteral("list item"), kEmail), qPrintable(failure()));
        QVERIFY(key(QStringLiteral("ctrl+comma")));
        QVERIFY2(m_reader.waitFor(QStringLiteral("push button"), QStringLiteral("Sign out")), qPrintable(failure()));
        QTest::qWait(500);
        const QString shot = screenshotPath(QStringLiteral("signin-settings-dark.png"));
        QVERIFY(m_x.screenshot(shot));
        const double lightness = windowLightness(shot);
        QVERIFY2(lightness >= 0 && lightness < 90, qPrintable(QString::number(lightness)));

        QVERIFY(click(*m_reader.find(QStringLiteral("push button"), QStringLiteral("Sign out"))));
        const auto confirm = m_reader.waitFor(QStringLiteral("push button"), QStringLiteral("Sign Out"));
        QVERIFY2(confirm, qPrintable(failure()));
        QVERIFY(click(*confirm));
        QVERIFY2(m_app->waitFor(QStringLiteral("[Ondel] Signed out")), qPrintable(failure()));
        QVERIFY2(m_reader.waitFor(QStringLiteral("text"), QStringLiteral("Email address")), qPrintable(failure()));
        QTRY_COMPARE(cloudRequests(QStringLiteral("/v1/auth/signout"), true), 1);
    }
};

int main(int argc, char **argv)
{
    // The test reads the display's clipboard through a second run of itself.
    if (argc == 2 && qstrcmp(argv[1], "--print-clipboard") == 0) {
        qputenv("QT_QPA_PLATFORM", "xcb");
        QGuiApplication app(argc, argv);
        std::fputs(qPrintable(QGuiApplication::clipboard()->text()), stdout);
        return 0;
    }
    TestEnvironment environment;
    // The app's single-instance socket and the accessibility bus live in the test's own folder.
    qputenv("XDG_RUNTIME_DIR", environment.root().toUtf8());
    QCoreApplication app(argc, argv);
    TestSignIn test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_signin.moc"
