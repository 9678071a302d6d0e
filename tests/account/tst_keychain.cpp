#include "AccountRig.h"
#include "SecretFile.h"
#include "SecretServiceFixture.h"
#include "ServiceOrigins.h"
#include "TestEnvironment.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString kByo = QString::fromLatin1(AccountService::byoKeyAccount);

// Items of our service under an account name, as the secret store lists them.
int storedItems(const QString &account)
{
    QProcess search;
    search.start("secret-tool", {"search", "--all", "server", QString::fromLatin1(Keychain::service), "user", account});
    search.waitForFinished(10000);
    return int(search.readAll().count("\nlabel = "));
}

} // namespace

// Against a real Secret Service: gnome-keyring-daemon on a session bus of the test's own.
class TestKeychain : public QObject
{
    Q_OBJECT

    std::unique_ptr<SecretServiceFixture> m_service;

private Q_SLOTS:
    void initTestCase()
    {
        m_service = std::make_unique<SecretServiceFixture>();
        QVERIFY2(m_service->error().isEmpty(), qPrintable(m_service->error()));
    }
    void init()
    {
        for (const char *name : {AccountService::sessionTokenAccount, AccountService::vrelKeyAccount, AccountService::byoKeyAccount})
            Keychain::remove(QString::fromLatin1(name));
    }

    void storesByAccount()
    {
        LogRecorder log;
        QCOMPARE(Keychain::string(kByo), std::nullopt); // never set: absent, and no log line
        Keychain::remove(kByo); // nothing to delete: nothing happens
        for (const QString &value : {QStringLiteral("first"), QString(), QStringLiteral("Mật khẩu ✓ 🔑")}) {
            QVERIFY(Keychain::set(value, kByo));
            QCOMPARE(Keychain::string(kByo), std::optional<QString>(value));
        }
        QCOMPARE(storedItems(kByo), 1); // set again updates the one item
        Keychain::remove(kByo);
        QCOMPARE(Keychain::string(kByo), std::nullopt);
        QCOMPARE(storedItems(kByo), 0);
        QVERIFY(log.lines().isEmpty());
    }

    void typedKeyGoesToTheSecretStoreOnly()
    {
        LogRecorder log;
        AccountRig rig(QJsonObject{{"vrelDirectBase", "http://127.0.0.1:8321/"}});
        rig.account->setByoKey("  sk-typed-4242 \n");
        QCOMPARE(rig.account->byoKey(), QStringLiteral("  sk-typed-4242 \n")); // the field keeps what was typed
        QCOMPARE(Keychain::string(kByo), std::optional<QString>(QStringLiteral("sk-typed-4242")));
        const ModelCredentials expected{QUrl("http://127.0.0.1:8321/"), "sk-typed-4242", false};
        QCOMPARE(rig.account->modelCredentials(), std::optional<ModelCredentials>(expected));
        QVERIFY(!rig.account->isSignedIn()); // an own key is no sign-in

        rig.restart();
        QCOMPARE(rig.account->modelCredentials(), std::optional<ModelCredentials>(expected));
        QVERIFY(!rig.settingsFile().contains("sk-typed"));
        QVERIFY(log.lines().filter("sk-typed").isEmpty());

        rig.account->setByoKey(" \t\n"); // blank: none, and the item goes
        QCOMPARE(Keychain::string(kByo), std::nullopt);
        QCOMPARE(rig.account->modelCredentials(), std::nullopt);
    }

    // Stored secrets, own key, gateway key, session: the first present wins.
    void precedence_data()
    {
        QTest::addColumn<QStringList>("stored");
        QTest::addColumn<QString>("token"); // empty: no credentials
        QTest::addColumn<bool>("viaAccount");
        QTest::newRow("all three: the own key") << QStringList{"own", "gw", "sess"} << "own" << false;
        QTest::newRow("gateway over account") << QStringList{"", "gw", "sess"} << "gw" << false;
        QTest::newRow("account alone") << QStringList{"", "", "sess"} << "sess" << true;
        QTest::newRow("an own key of spaces is none") << QStringList{"   ", "", "sess"} << "sess" << true;
        QTest::newRow("nothing") << QStringList{"", "", ""} << "" << false;
    }
    void precedence()
    {
        QFETCH(QStringList, stored);
        QFETCH(QString, token);
        QFETCH(bool, viaAccount);
        const char *accounts[] = {AccountService::byoKeyAccount, AccountService::vrelKeyAccount, AccountService::sessionTokenAccount};
        for (int i = 0; i < 3; ++i)
            QVERIFY(stored[i].isEmpty() || Keychain::set(stored[i], QString::fromLatin1(accounts[i])));
        AccountRig rig(QJsonObject{{"vrelDirectBase", "http://127.0.0.1:8001/"}, {"ondelCloudBase", "http://127.0.0.1:8002/"},
                                   {"vrelWebBase", "not a URL"}});
        const std::optional<ModelCredentials> credentials = rig.account->modelCredentials();
        QCOMPARE(credentials ? credentials->token : QString(), token);
        QCOMPARE(credentials && credentials->viaAccount, viaAccount);
        QCOMPARE(credentials ? credentials->baseURL.port() : 0, token.isEmpty() ? 0 : viaAccount ? 8002 : 8001);
        QCOMPARE(rig.account->isSignedIn(), !stored[1].isEmpty() || !stored[2].isEmpty());
        QCOMPARE(ServiceOrigins::vrelWebBase(*rig.settings).scheme(), QStringLiteral("https")); // not a URL: the built-in one
    }

    void legacyKeyMovesOnce()
    {
        LogRecorder log;
        AccountRig rig(QJsonObject{{"vrelApiKey", "sk-legacy-77"}, {"appTheme", "light"}});
        QCOMPARE(Keychain::string(kByo), std::optional<QString>(QStringLiteral("sk-legacy-77")));
        QCOMPARE(rig.account->byoKey(), QStringLiteral("sk-legacy-77"));
        QVERIFY(!rig.settingsFile().contains("sk-legacy"));
        QVERIFY(rig.settingsFile().contains("light")); // the rest of the file stays
        QVERIFY(log.contains("[Ondel] Migrated Vrel key from UserDefaults to Keychain"));
        AccountRig empty(QJsonObject{{"vrelApiKey", QString()}});
        QCOMPARE(empty.settings->legacyVrelApiKey(), std::optional<QString>(QString())); // an empty one stays
    }

    // A secret kept in the file while no keyring answered moves into the keyring that answers now;
    // a keyring that goes away leaves the next secrets to the file. Last: the keyring stays gone.
    void keyringAndFileHandOver()
    {
        SecretFile file;
        QCOMPARE(file.set(QString::fromLatin1(Keychain::service), kByo, QStringLiteral("sk-from-file")), QString());
        AccountRig rig;
        QCOMPARE(rig.account->byoKey(), QStringLiteral("sk-from-file"));
        QVERIFY(!rig.account->secretsInFile());
        QCOMPARE(storedItems(kByo), 1);
        QCOMPARE(file.value(QString::fromLatin1(Keychain::service), kByo), std::nullopt);

        m_service->stopKeyring();
        QSignalSpy toFile(rig.account.get(), &AccountService::secretsInFileChanged);
        rig.account->setByoKey("sk-later"); // not waited for
        QCOMPARE(Keychain::string(kByo), std::optional<QString>(QStringLiteral("sk-later")));
        QCOMPARE(file.value(QString::fromLatin1(Keychain::service), kByo), std::optional<QString>(QStringLiteral("sk-later")));
        QTRY_VERIFY(rig.account->secretsInFile());
        QCOMPARE(toFile.count(), 1);
    }
};

ONDEL_TEST_MAIN(TestKeychain)

#include "tst_keychain.moc"
