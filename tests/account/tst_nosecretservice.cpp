#include "AccountRig.h"
#include "SecretFile.h"
#include "SecretServiceFixture.h"
#include "TestEnvironment.h"

#include <QDir>
#include <QTest>

#include <sys/stat.h>

namespace {

int mode(const QString &path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

} // namespace

// No keyring at all, as on a machine without a session bus: the secrets are kept in a file in
// the data folder that only the user can read, so a sign-in or a key outlasts the run, and the
// old plain-text key moves there. Nothing of them reaches the log or the settings.
class TestNoSecretService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void secretsLastInAFileOfTheUsersOwn()
    {
        QTemporaryDir dir;
        SecretServiceFixture::useUnreachableBus(dir.path());
        LogRecorder log;
        AccountRig rig(QJsonObject{{"vrelApiKey", "sk-old"}});
        QCOMPARE(rig.settings->legacyVrelApiKey(), std::nullopt);
        QVERIFY(log.contains("[Ondel] Migrated Vrel key from UserDefaults to Keychain"));
        QVERIFY(rig.account->secretsInFile());
        QCOMPARE(rig.account->modelCredentials()->token, QStringLiteral("sk-old"));

        rig.account->setByoKey(" sk-in-file ");
        QVERIFY(Keychain::set("sess-in-file", QString::fromLatin1(AccountService::sessionTokenAccount)));
        rig.restart();
        QCOMPARE(rig.account->modelCredentials()->token, QStringLiteral("sk-in-file"));
        QCOMPARE(rig.account->sessionToken(), std::optional<QString>(QStringLiteral("sess-in-file")));

        const QString path = SecretFile::defaultPath();
        QCOMPARE(mode(path), 0600);
        QCOMPARE(mode(QFileInfo(path).absolutePath()), 0700);
        QCOMPARE(QDir(QFileInfo(path).absolutePath()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("secrets.json")});
        rig.account->setByoKey("  ");
        QCOMPARE(Keychain::string(QString::fromLatin1(AccountService::byoKeyAccount)), std::nullopt);

        // A damaged file is kept aside, not overwritten, and a new one takes the next secret.
        QFile damaged(path);
        QVERIFY(damaged.open(QIODevice::WriteOnly) && damaged.write("{\"com.tarnwyk.ondel\": ") > 0);
        damaged.close();
        QCOMPARE(Keychain::string(QString::fromLatin1(AccountService::sessionTokenAccount)), std::nullopt);
        QVERIFY(Keychain::set("sess-2", QString::fromLatin1(AccountService::sessionTokenAccount)));
        QCOMPARE(Keychain::string(QString::fromLatin1(AccountService::sessionTokenAccount)), std::optional<QString>(QStringLiteral("sess-2")));
        QCOMPARE(QDir(QFileInfo(path).absolutePath()).entryList({QStringLiteral("secrets.json.broken-*")}).size(), 1);

        const QStringList texts = log.lines() << QString::fromUtf8(rig.settingsFile());
        for (const QString &line : texts)
            QVERIFY2(!line.contains("sk-") && !line.contains("sess-"), qPrintable(line));
    }
};

ONDEL_TEST_MAIN(TestNoSecretService)

#include "tst_nosecretservice.moc"
