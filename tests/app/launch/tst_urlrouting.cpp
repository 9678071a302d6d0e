#include "AccountService.h"
#include "LaunchUrls.h"
#include "SecretServiceFixture.h"
#include "Settings.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"
#include "UrlRouter.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

// Every link a launch can bring, from the command line through the router to the account (the
// real one, on a settings file of its own and with no keychain to reach), or to a browser
// sign-in waiting for its callback.
class TestUrlRouting : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<AccountService> m_account;

private Q_SLOTS:
    void initTestCase()
    {
        m_settings = std::make_unique<Settings>(m_dir.filePath(QStringLiteral("settings.json")));
        m_settings->setOndelCloudBase(TestHttpServer::unreachableUrl().toString()); // links are checked nowhere
        m_account = std::make_unique<AccountService>(*m_settings);
        QTRY_VERIFY(m_account->isLoaded()); // before that, links wait
    }

    void routesEveryLink_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("signInWaits");
        QTest::addColumn<QStringList>("signInTokens"); // what reached the account's sign-in, in order
        QTest::addColumn<QStringList>("callbacks");    // what reached the browser sign-in

        const QString longToken(2000, QLatin1Char('t'));
        QTest::newRow("sign-in links: any path, any case, the first token, decoded, long, empty")
            << QStringList{"ondel://auth?token=s3cr3t", "ondel://auth/extra/path?token=s3cr3t", "ONDEL://AUTH?token=Upper",
                           "ondel://auth?other=1&token=one&token=two", "ondel://auth?token=a%2Bb%20c+d", "ondel://auth?token=" + longToken,
                           "ondel://auth?token="}
            << false << QStringList{"s3cr3t", "s3cr3t", "Upper", "one", "a+b c+d", longToken, ""} << QStringList{};
        QTest::newRow("sign-in link without a token")
            << QStringList{"ondel://auth", "ondel://auth?token", "ondel://auth?tok=s3cr3t"} << false << QStringList{} << QStringList{};
        QTest::newRow("callback to the waiting sign-in, once")
            << QStringList{"ondel://callback?code=c0de&state=st4te", "ondel://callback?code=again"} << true << QStringList{}
            << QStringList{"ondel://callback?code=c0de&state=st4te"};
        QTest::newRow("callback with nobody waiting; it never signs in")
            << QStringList{"ondel://callback?code=c0de", "ondel://callback?token=s3cr3t"} << false << QStringList{} << QStringList{};
        QTest::newRow("other places of ondel")
            << QStringList{"ondel://elsewhere?token=s3cr3t", "ondel:auth?token=s3cr3t", "ondel:///auth?token=s3cr3t", "ondel://"}
            << true << QStringList{} << QStringList{};
        QTest::newRow("other schemes and no URLs at all")
            << QStringList{"https://auth?token=s3cr3t", "ondelx://auth?token=s3cr3t", "file:///tmp/auth?token=s3cr3t",
                           "/home/me/ondel://auth?token=s3cr3t", "--token=s3cr3t", "", " ", "ondel", "://auth?token=s3cr3t"}
            << true << QStringList{} << QStringList{};
        QTest::newRow("garbage") << QStringList{"ondel://auth?token=s3cr3t\nsecond line", "ondel://au th?token=s3cr3t",
                                                "ondel://%zz?token=s3cr3t", "ondel://[::1?token=s3cr3t",
                                                QString::fromUtf8("ondel://auth?token=\xe2\x80\xae\x00x", 23),
                                                QString(QChar(0xD800)) + "ondel://auth?token=s3cr3t"}
                                 << true << QStringList{} << QStringList{};
        QTest::newRow("too long to be a link")
            << QStringList{"ondel://auth?token=" + QString(LaunchUrls::maxLength, QLatin1Char('t')),
                           "ondel://callback?code=" + QString(1 << 20, QLatin1Char('c'))}
            << true << QStringList{} << QStringList{};
    }
    void routesEveryLink()
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, signInWaits);
        QFETCH(QStringList, signInTokens);
        QFETCH(QStringList, callbacks);

        LogRecorder log;
        QSignalSpy signIns(m_account.get(), &AccountService::signInLinkReceived);
        AccountService *account = m_account.get();
        UrlRouter router([account](const QUrl &url) { account->handleOpenURL(url); });
        QStringList called;
        if (signInWaits)
            router.awaitCallback([&called](const QUrl &url) { called.append(url.toString()); });

        for (const QUrl &url : LaunchUrls::among(arguments))
            router.route(url);

        QStringList tokens;
        for (const QList<QVariant> &signal : signIns)
            tokens.append(signal.at(0).toString());
        QCOMPARE(tokens, signInTokens);
        QCOMPARE(called, callbacks);
        QCOMPARE(log.lines().count(QStringLiteral("[Ondel] Sign-in link received")), signInTokens.size());
        // What a link carries never reaches the log.
        for (const QString &line : log.lines()) {
            QVERIFY2(!line.contains(QLatin1Char('?')) && !line.contains(QLatin1String("s3cr3t")) && !line.contains(QLatin1String("c0de")),
                     qPrintable(line));
        }
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    SecretServiceFixture::useUnreachableBus(environment.root()); // no keychain: the account's secrets stay empty
    QCoreApplication app(argc, argv);
    TestUrlRouting test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_urlrouting.moc"
