#include "AppProcess.h"
#include "CliRun.h"
#include "InstanceLock.h"
#include "SecretServiceFixture.h"
#include "SingleInstance.h"
#include "TestEnvironment.h"

#include <QFileInfo>
#include <QTest>

namespace {

const QString token = QStringLiteral("tok-5ecret-7Q");
const QString signInLink = QStringLiteral("ondel://auth?token=") + token;

CliRun launch(const QStringList &arguments)
{
    return CliRun::of(QStringLiteral(ONDEL_APP_PATH), arguments, {}, kWindowTimeoutMs);
}

} // namespace

// Real launches of the built app: a later one hands its link to the running one and ends, and
// the link is opened there without ever being logged.
class TestSecondLaunch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The socket a crash left behind is taken over by the next app, started by the desktop with
    // the link; a later launch hands its link to that app and ends.
    void takesOverAfterACrashThenTakesLaterLinks()
    {
        {
            AppProcess crashed;
            QVERIFY2(crashed.waitFor(QStringLiteral("[Ondel] Listening for later launches")), qPrintable(crashed.log()));
            crashed.crash();
        }
        QVERIFY(QFileInfo::exists(SingleInstance::serverName())); // left behind, as after a real crash

        AppProcess first({signInLink});
        QVERIFY2(first.waitFor(QStringLiteral("[Ondel] Sign-in link received")), qPrintable(first.log()));
        QVERIFY(first.logged(QStringLiteral("[Ondel] Opened URL ondel://auth")));
        QVERIFY(first.logged(QStringLiteral("[Ondel] Listening for later launches")));

        const CliRun second = launch({signInLink});
        QCOMPARE(second.code, 0);
        QVERIFY2(second.err.contains(QStringLiteral("[Ondel] Handed over to the running app")), qPrintable(second.err));
        QVERIFY2(first.waitFor(QStringLiteral("[Ondel] Another launch asked for the window, with 1 link(s)")), qPrintable(first.log()));
        QTRY_COMPARE(first.log().count(QStringLiteral("[Ondel] Sign-in link received")), 2);
        QVERIFY(first.isRunning());
        QVERIFY(!first.log().contains(token));
        QVERIFY(!(second.out + second.err).contains(token));
    }

    void busyWhileAnotherProgramOwnsTheData()
    {
        InstanceLock cli; // this test process stands for ondel-cli
        QVERIFY(cli.tryLock());
        const CliRun app = launch({signInLink});
        QCOMPARE(app.code, 1);
        QVERIFY2(app.err.contains(QStringLiteral("pid %1) is using the meetings").arg(QCoreApplication::applicationPid())),
                 qPrintable(app.err));
        QVERIFY(!app.err.contains(QStringLiteral("Listening")));
        QVERIFY(!(app.out + app.err).contains(token));
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    // For the apps it starts: no display, no keychain, and the sockets in the test's own folder.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    SecretServiceFixture::useUnreachableBus(environment.root());
    qputenv("XDG_RUNTIME_DIR", environment.root().toUtf8());
    QCoreApplication app(argc, argv);
    TestSecondLaunch test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_secondlaunch.moc"
