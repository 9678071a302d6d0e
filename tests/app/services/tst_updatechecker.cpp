#include "Settings.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"
#include "UpdateChecker.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>

namespace {

// A checker pointed at a local site, with the addresses it opens kept.
struct Rig
{
    TestHttpServer site;
    QTemporaryDir folder;
    Settings settings{folder.filePath(QStringLiteral("settings.json"))};
    QNetworkAccessManager network;
    QList<QUrl> opened;
    UpdateChecker checker{network, settings, [this](const QUrl &url) {
                              opened << url;
                              return true;
                          }};

    Rig() { settings.setOndelWebBase(site.url().toString()); }

    // Serves one answer to one check and returns once the checker has seen it.
    void check(const TestHttpServer::Reply &reply)
    {
        site.setHandler([reply](const TestHttpServer::Request &) { return reply; });
        QSignalSpy done(&network, &QNetworkAccessManager::finished);
        checker.check();
        QVERIFY(done.wait(10000));
    }
};

} // namespace

class TestUpdateChecker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QCoreApplication::setApplicationVersion(QString()); }

    // What one version file makes of a checker that already knew of "1.0": only a 200 with a
    // JSON object naming a version counts; anything else leaves what was known.
    void versionFile_data()
    {
        QTest::addColumn<int>("status"); // 0: the connection closes without an answer
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("url"); // "site:" stands for the local site's address
        QTest::addColumn<QString>("opens");
        const QString old = QStringLiteral("https://downloads.example/old.dmg");
        QTest::newRow("a leading v is dropped") << 200 << QByteArray("{\"version\": \"v2.0\", \"url\": \"https://downloads.example/2.0\"}")
                                                << "2.0" << "https://downloads.example/2.0" << "https://downloads.example/2.0";
        QTest::newRow("only one v") << 200 << QByteArray("{\"version\": \"vv2\"}") << "v2" << "" << "site:Ondel.deb";
        QTest::newRow("no url: the default download") << 200 << QByteArray("{\"version\": \"2.0\"}") << "2.0" << "" << "site:Ondel.deb";
        QTest::newRow("url that does not parse") << 200 << QByteArray("{\"version\": \"2.0\", \"url\": \"http://[::1\"}") << "2.0" << ""
                                                 << "site:Ondel.deb";
        QTest::newRow("relative url: on the site") << 200 << QByteArray("{\"version\": \"2.0\", \"url\": \"files/Ondel-2.0.dmg\"}") << "2.0"
                                                   << "site:files/Ondel-2.0.dmg" << "site:files/Ondel-2.0.dmg";
        QTest::newRow("not found") << 404 << QByteArray("{\"version\": \"2.0\"}") << "1.0" << old << old;
        QTest::newRow("a 201 is not a 200") << 201 << QByteArray("{\"version\": \"2.0\"}") << "1.0" << old << old;
        QTest::newRow("no answer") << 0 << QByteArray() << "1.0" << old << old;
        QTest::newRow("invalid JSON") << 200 << QByteArray("{\"version\": \"2.0\"") << "1.0" << old << old;
        QTest::newRow("not an object") << 200 << QByteArray("[\"2.0\"]") << "1.0" << old << old;
        QTest::newRow("just a v") << 200 << QByteArray("{\"version\": \"v\"}") << "1.0" << old << old;
        QTest::newRow("version not a string") << 200 << QByteArray("{\"version\": 2.0}") << "1.0" << old << old;
    }
    void versionFile()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, version);
        QFETCH(QString, url);
        QFETCH(QString, opens);
        Rig rig;
        const auto onSite = [&](QString address) { return address.replace(QLatin1String("site:"), rig.site.url().toString()); };
        QSignalSpy changed(&rig.checker, &UpdateChecker::releaseChanged);
        rig.check(TestHttpServer::Reply::json("{\"version\": \"1.0\", \"url\": \"https://downloads.example/old.dmg\"}"));
        QCOMPARE(changed.size(), 1);

        if (status == 0) {
            rig.site.setHandler([](const TestHttpServer::Request &) { return TestHttpServer::Reply::held(); });
            connect(&rig.site, &TestHttpServer::requestReceived, &rig.site, [&rig](int index) { rig.site.close(index); });
            QSignalSpy done(&rig.network, &QNetworkAccessManager::finished);
            rig.checker.check();
            QVERIFY(done.wait(10000));
        } else {
            rig.check(TestHttpServer::Reply::json(body, status));
        }
        QCOMPARE(rig.checker.latestVersion(), version);
        QCOMPARE(rig.checker.downloadUrl(), QUrl(onSite(url)));
        QCOMPARE(changed.size(), version == QLatin1String("1.0") ? 1 : 2);
        rig.checker.openDownload();
        QCOMPARE(rig.opened, QList<QUrl>{QUrl(onSite(opens))});

        // Every check asked the network, not a cache, for the version file.
        for (const TestHttpServer::Request &request : rig.site.requests()) {
            QCOMPARE(request.method, QByteArray("GET"));
            QCOMPARE(request.target, QByteArray("/latest.json"));
        }
    }

    void sameFileTwiceSignalsOnce()
    {
        Rig rig;
        QSignalSpy changed(&rig.checker, &UpdateChecker::releaseChanged);
        rig.check(TestHttpServer::Reply::json("{\"version\": \"2.0\"}"));
        rig.check(TestHttpServer::Reply::json("{\"version\": \"v2.0\"}"));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(rig.site.requestCount(), 2);
    }

    // The site's origin: a setting that parses as http(s), else the built-in one.
    void siteAddresses_data()
    {
        QTest::addColumn<QString>("override"); // null: none
        QTest::addColumn<QString>("versionFile");
        QTest::addColumn<QString>("download");
        QTest::newRow("built in") << QString() << "https://ondel.app/latest.json" << "https://ondel.app/Ondel.deb";
        QTest::newRow("no trailing slash") << "http://127.0.0.1:8080" << "http://127.0.0.1:8080/latest.json"
                                           << "http://127.0.0.1:8080/Ondel.deb";
        QTest::newRow("under a path") << "http://127.0.0.1:8080/site/" << "http://127.0.0.1:8080/site/latest.json"
                                      << "http://127.0.0.1:8080/site/Ondel.deb";
        QTest::newRow("not a URL: built in") << "ondel dot app" << "https://ondel.app/latest.json" << "https://ondel.app/Ondel.deb";
    }
    void siteAddresses()
    {
        QFETCH(QString, override);
        QFETCH(QString, versionFile);
        QFETCH(QString, download);
        Rig rig;
        rig.settings.setOndelWebBase(override.isNull() ? std::nullopt : std::optional(override));
        QCOMPARE(rig.checker.versionFileUrl(), QUrl(versionFile));
        rig.checker.openDownload();
        QCOMPARE(rig.opened, QList<QUrl>{QUrl(download)});
    }

    void isNewer_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<bool>("newer");
        QTest::newRow("numbers, not text") << "1.10" << "1.9" << true;
        QTest::newRow("a missing part is 0") << "1.2" << "1.2.0" << false;
        QTest::newRow("and back: equal") << "1.2.0" << "1.2" << false;
        QTest::newRow("one more part") << "1.2.1" << "1.2" << true;
        QTest::newRow("unreadable part is 0") << "1.2.x" << "1.2.0" << false;
        QTest::newRow("unreadable against 1") << "1.2.x" << "1.2.1" << false;
        QTest::newRow("unreadable, earlier part decides") << "1.3.x" << "1.2.9" << true;
        QTest::newRow("empty parts are dropped") << "2.1" << "2..1" << false;
        QTest::newRow("major decides") << "10.0" << "9.99.99" << true;
        QTest::newRow("against nothing") << "0.0.1" << "" << true;
    }
    void isNewer()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(bool, newer);
        QCOMPARE(UpdateChecker::isNewer(a, b), newer);
    }

    // The banner's question: a known version, newer than the running one ("0.0.0" when unset).
    void updateAvailable_data()
    {
        QTest::addColumn<QString>("running");
        QTest::addColumn<QByteArray>("versionFile"); // empty: never checked
        QTest::addColumn<bool>("available");
        QTest::newRow("nothing known") << "1.2.3" << QByteArray() << false;
        QTest::newRow("the same version") << "1.2.3" << QByteArray("{\"version\": \"v1.2.3\"}") << false;
        QTest::newRow("a newer one") << "1.2.3" << QByteArray("{\"version\": \"1.2.4\"}") << true;
        QTest::newRow("an older one") << "1.2.3" << QByteArray("{\"version\": \"1.2\"}") << false;
        QTest::newRow("no version of our own") << "" << QByteArray("{\"version\": \"0.0.1\"}") << true;
    }
    void updateAvailable()
    {
        QFETCH(QString, running);
        QFETCH(QByteArray, versionFile);
        QFETCH(bool, available);
        QCoreApplication::setApplicationVersion(running);
        QCOMPARE(UpdateChecker::currentVersion(), running.isEmpty() ? QStringLiteral("0.0.0") : running);
        Rig rig;
        if (!versionFile.isEmpty())
            rig.check(TestHttpServer::Reply::json(versionFile));
        QCOMPARE(rig.checker.isUpdateAvailable(), available);
    }
};

ONDEL_TEST_MAIN(TestUpdateChecker)

#include "tst_updatechecker.moc"
