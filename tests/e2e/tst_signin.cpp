#include "DesktopRig.h"
#include "ScreenReader.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>

namespace {

const QString kThem = QStringLiteral("the weather is lovely today and we should plan the project review");
const QString kEmail = QStringLiteral("ana@example.com");

} // namespace

// Signing in with an emailed code in the desktop app, and what the account then reaches, with
// a local cloud that serves the account, the shares and the models. The controls are found as
// a screen reader finds them, over the accessibility bus.
class TestSignIn : public DesktopTest
{
    Q_OBJECT

    ScreenReader m_reader;

    // How many requests the cloud had for the path, with or without the session.
    int cloudRequests(const QString &path, bool withSession) const
    {
        QFile file(serverLog());
        int count = 0;
        for (const QByteArray &line : file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>()) {
            const QJsonObject entry = QJsonDocument::fromJson(line).object();
            count += entry.value(QLatin1String("path")).toString() == path && entry.value(QLatin1String("session")).toBool() == withSession;
        }
        return count;
    }
    // Waits for the control and clicks its middle.
    bool clickOn(const QString &role, const QString &name)
    {
        const auto control = m_reader.waitFor(role, name);
        return control && click(control->center());
    }
    // The clipboard of the private display, read by this program as another client of it.
    QString clipboard() const
    {
        return m_x.run(QCoreApplication::applicationFilePath(), {"--print-clipboard"}).value_or(QString());
    }
    QString failure() override { return m_reader.describe() + QLatin1Char('\n') + DesktopTest::failure(); }

    // Every control the keyboard reaches on the screen has a name a screen reader can say.
    void checkNames(const char *screen)
    {
        const QList<ScreenReader::Control> controls = m_reader.controls(true);
        QVERIFY2(std::any_of(controls.cbegin(), controls.cend(), [](const auto &control) { return control.focusable; }),
                 qPrintable(QStringLiteral("%1: no control reads as focusable").arg(QLatin1String(screen))));
        const QStringList unnamed = ScreenReader::unnamedFocusable(controls);
        QVERIFY2(unnamed.isEmpty(), qPrintable(QStringLiteral("%1: ").arg(QLatin1String(screen)) + unnamed.join("; ")
                                              + QLatin1Char('\n') + m_reader.describe()));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString desktop = startDesktop(QStringLiteral(ONDEL_CLOUD_SERVER));
        QVERIFY2(desktop.isEmpty(), qPrintable(desktop));
        const QString reader = m_reader.start();
        QVERIFY2(reader.isEmpty(), qPrintable(reader));
        // Every service the app may reach is the local one.
        for (const char *key : {"ondelCloudBase", "vrelDirectBase", "vrelWebBase", "ondelWebBase"})
            QVERIFY(configure(QLatin1String(key), m_origin));
        // The first-run tour would stand over the controls clicked here.
        QVERIFY(configure("onboardingCompleted", "true"));
        qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    }
    void cleanupTestCase()
    {
        m_app.reset();
        m_reader.stop();
        stopDesktop();
    }

    void signsInWithAnEmailedCode()
    {
        QVERIFY2(startApp(), qPrintable(failure()));
        QVERIFY(m_reader.waitFor("list item", "Sign in"));
        checkNames("home");
        QVERIFY(key("ctrl+comma"));
        QVERIFY2(clickOn("text", "Email address"), qPrintable(failure()));
        checkNames("settings");
        QVERIFY(type("  Ana@Example.com ") && key("Return"));

        // The code view takes the keyboard; the local cloud "mails" 424242.
        QVERIFY2(m_reader.waitFor("text", "6-digit code"), qPrintable(failure()));
        QCOMPARE(cloudRequests("/v1/auth/request", false), 1);
        QVERIFY(type("424242") && key("Return"));
        QVERIFY2(m_app->waitFor("[Ondel] Signed in as " + kEmail), qPrintable(failure()));

        // The account's record, fetched with the new session, fills the usage bar.
        QVERIFY2(m_reader.waitFor("progress bar", "0 of 60 minutes used"), qPrintable(failure()));
        QVERIFY(cloudRequests("/v1/me", true) >= 1);
        QVERIFY(m_reader.find("list item", kEmail));
        QVERIFY(m_reader.find("push button", "Sign out"));
        QTest::qWait(500); // the bar is drawn a frame after it is known
        const double lightness = screenshot("signin-settings-light");
        QVERIFY2(lightness > 170, qPrintable(QString::number(lightness)));

        // The session token stays out of the log, and it and the address out of the settings.
        QVERIFY2(!m_app->log().contains(QLatin1String("session-")), qPrintable(m_app->log()));
        QFile settings(Settings::shared().filePath());
        QVERIFY(settings.open(QIODevice::ReadOnly));
        const QByteArray stored = settings.readAll();
        QVERIFY2(!stored.contains("session-") && !stored.contains(kEmail.toUtf8()), stored.constData());
    }

    // Runs after the sign-in: the account's session reaches the models and publishes the notes.
    void recordsAndSharesWithTheAccount()
    {
        QVERIFY(m_app && m_app->isRunning());
        QVERIFY2(recordQuickNote(kThem), qPrintable(failure()));
        QTRY_VERIFY2_WITH_TIMEOUT(themLineOf(kThem), qPrintable(describe(storedLines()) + QLatin1Char('\n') + failure()), kLineTimeoutMs);
        // The cloud answers the models only to a session: the line came through the account.
        QVERIFY(cloudRequests("/v1/audio/transcriptions", true) >= 1);
        QCOMPARE(cloudRequests("/v1/audio/transcriptions", false), 0);
        const QString meetingId = themLineOf(kThem)->meetingId;

        QVERIFY2(clickOn("push button", "Stop"), qPrintable(failure()));
        QTRY_VERIFY2_WITH_TIMEOUT(storedMeeting(meetingId) && !storedMeeting(meetingId)->summary.isEmpty(), qPrintable(failure()), 120000);
        QVERIFY(cloudRequests("/v1/chat/completions", true) >= 1);

        // The quick note's page is still up: share its notes.
        QVERIFY2(m_reader.waitFor("push button", "Share"), qPrintable(failure()));
        checkNames("meeting");
        QVERIFY2(clickOn("push button", "Share"), qPrintable(failure()));
        QVERIFY2(m_reader.waitFor("push button", "Open in browser"), qPrintable(failure()));
        QCOMPARE(cloudRequests("/v1/shares", true), 1);
        QCOMPARE(clipboard(), m_origin + "s/share-1");
        QVERIFY(screenshot("signin-shared-light") >= 0);
        QVERIFY(key("Escape"));
    }

    // Runs after the two above: the session outlives the app, in the keyring, and signing out
    // asks first.
    void keepsTheAccountAcrossARestartInTheDark()
    {
        m_app.reset();
        QVERIFY(configure("appTheme", "dark"));
        QVERIFY2(startApp(), qPrintable(failure()));
        QVERIFY2(m_reader.waitFor("list item", kEmail), qPrintable(failure()));
        QVERIFY(key("ctrl+comma"));
        QVERIFY2(m_reader.waitFor("push button", "Sign out"), qPrintable(failure()));
        checkNames("settings, signed in");
        QTest::qWait(500);
        const double lightness = screenshot("signin-settings-dark");
        QVERIFY2(lightness >= 0 && lightness < 90, qPrintable(QString::number(lightness)));

        QVERIFY(clickOn("push button", "Sign out"));
        QVERIFY2(clickOn("push button", "Sign Out"), qPrintable(failure())); // the confirmation
        QVERIFY2(m_app->waitFor("[Ondel] Signed out"), qPrintable(failure()));
        QVERIFY2(m_reader.waitFor("text", "Email address"), qPrintable(failure()));
        QTRY_COMPARE(cloudRequests("/v1/auth/signout", true), 1);
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
