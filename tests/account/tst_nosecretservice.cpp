#include "AccountRig.h"
#include "SecretServiceFixture.h"
#include "TestEnvironment.h"

#include <QTest>

// No Secret Service at all, as on a machine without a session bus: writes fail clearly, the
// secrets live in memory for the run, and nothing crashes or hangs.
class TestNoSecretService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void secretsLiveInMemory()
    {
        QTemporaryDir dir;
        SecretServiceFixture::useUnreachableBus(dir.path());
        LogRecorder log;
        AccountRig rig(QJsonObject{{QStringLiteral("vrelApiKey"), QStringLiteral("sk-old")}});
        QCOMPARE(rig.settings->legacyVrelApiKey(), std::optional<QString>(QStringLiteral("sk-old"))); // not moved, not lost
        QCOMPARE(rig.account->modelCredentials()->token, QStringLiteral("sk-old"));

        rig.account->setByoKey(QStringLiteral("sk-memory-only"));
        QCOMPARE(rig.account->modelCredentials()->token, QStringLiteral("sk-memory-only"));
        QVERIFY(!rig.settingsFile().contains("sk-memory-only"));
        QCOMPARE(Keychain::string(QStringLiteral("vrel-byo-key")), std::nullopt);
        QVERIFY(!log.lines().isEmpty());
        for (const QString &line : log.lines()) {
            QVERIFY2(line.startsWith(QStringLiteral("[Ondel] Keychain write failed for vrel-byo-key: ")), qPrintable(line));
            QVERIFY(!line.contains(QStringLiteral("sk-")));
        }
    }
};

ONDEL_TEST_MAIN(TestNoSecretService)

#include "tst_nosecretservice.moc"
