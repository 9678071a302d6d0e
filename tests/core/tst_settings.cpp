#include "AppIdentity.h"
#include "Settings.h"
#include "TestEnvironment.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class TestSettings : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString file() const { return m_dir.filePath(QStringLiteral("settings.json")); }

private Q_SLOTS:
    void cleanup()
    {
        for (const QString &name : QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden))
            QFile::remove(m_dir.filePath(name));
    }

    // A value of the wrong type reads as the key's default, and leaves the other keys alone.
    void wrongTypesReadAsDefaults()
    {
        Settings defaults(file());
        QVERIFY(!QFile::exists(file())); // reading never creates the file
        putFile(file(), "{ \"transcriptionLanguage\": 3, \"customDictionary\": \"Acme\", \"echoSuppressionEnabled\": \"no\", \"liveDraftEnabled\": 1, "
                  "\"soundEnabled\": 0, \"launchAtLogin\": \"yes\", \"meetingRemindersEnabled\": null, \"calendarVisibility\": {\"Work\": \"yes\"}, "
                  "\"alwaysRecordCalendars\": [\"Work\", 7], \"chatModel\": [\"x\"], \"transcriptPaneHeight\": \"500\", \"appTheme\": false, "
                  "\"onboardingCompleted\": 1, \"ondelCloudBase\": {}, \"googleAccounts\": 12}");
        Settings s(file());
        const QMetaObject *meta = s.metaObject();
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i)
            QVERIFY2(meta->property(i).read(&s) == meta->property(i).read(&defaults), meta->property(i).name());
        QVERIFY(!s.ondelCloudBase());
        QVERIFY(s.googleAccounts().isEmpty());

        // Writing one key keeps the file otherwise as it was, odd values included.
        s.setChatModel(QStringLiteral("smart"));
        const QJsonObject stored = QJsonDocument::fromJson(fileBytes(file())).object();
        QCOMPARE(stored.value(QStringLiteral("chatModel")).toString(), QStringLiteral("smart"));
        QCOMPARE(stored.value(QStringLiteral("transcriptionLanguage")).toInt(), 3);
    }

    void valuesPersistAndSignal()
    {
        {
            Settings s(file());
            QSignalSpy theme(&s, &Settings::appThemeChanged);
            QSignalSpy any(&s, &Settings::valueChanged);
            QSignalSpy sound(&s, &Settings::soundEnabledChanged);
            s.setAppTheme(QStringLiteral("dark"));
            s.setAppTheme(QStringLiteral("dark")); // no change, no signal
            s.setCustomDictionary({QStringLiteral("Kubernetes"), QStringLiteral("Vrel")});
            s.setCalendarVisibility({{QStringLiteral("Work"), true}, {QStringLiteral("Home"), false}});
            s.setTranscriptPaneHeight(512.5);
            s.setGoogleAccounts("[{\"sub\":\"1\",\"email\":\"a@b.c\"}]");
            s.setOndelCloudBase(QStringLiteral("http://127.0.0.1:8080"));
            QCOMPARE(theme.count(), 1);
            QCOMPARE(sound.count(), 0);
            QCOMPARE(any.count(), 6);
            QCOMPARE(any.first().first().toString(), QStringLiteral("appTheme"));
        }
        Settings again(file());
        QCOMPARE(again.appTheme(), QStringLiteral("dark"));
        QCOMPARE(again.customDictionary(), (QStringList{"Kubernetes", "Vrel"}));
        QCOMPARE(again.calendarVisibility().value(QStringLiteral("Home")).toBool(), false);
        QCOMPARE(again.transcriptPaneHeight(), 512.5);
        QCOMPARE(again.googleAccounts(), QByteArray("[{\"sub\":\"1\",\"email\":\"a@b.c\"}]"));
        QCOMPARE(again.ondelCloudBase(), std::optional<QString>(QStringLiteral("http://127.0.0.1:8080")));

        again.setOndelCloudBase(std::nullopt); // absent again, not ""
        QVERIFY(!Settings(file()).ondelCloudBase());
        // Only the file itself is left: the write went through a temporary file and a rename.
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("settings.json")});
    }

    void brokenFileIsMovedAside_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("truncated") << QByteArray("{\"appTheme\": \"dark\", \"soundEn");
        QTest::newRow("an array") << QByteArray("[\"dark\"]");
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe garbage", 12);
    }
    void brokenFileIsMovedAside()
    {
        QFETCH(QByteArray, bytes);
        putFile(file(), bytes);
        LogRecorder log;
        Settings s(file());
        QCOMPARE(s.appTheme(), QStringLiteral("system"));
        QVERIFY(!QFile::exists(file()));
        const QStringList aside = QDir(m_dir.path()).entryList({QStringLiteral("settings.json.broken-*")}, QDir::Files);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(fileBytes(m_dir.filePath(aside.first())), bytes); // what the user had is kept byte for byte
        QCOMPARE(log.lines().size(), 1);
        QVERIFY(log.lines().first().startsWith(QStringLiteral("[Ondel] Settings file could not be read")));

        s.setSoundEnabled(false); // a fresh file from now on
        QVERIFY(!Settings(file()).soundEnabled());
    }

    void sharedLivesInTheBuildsConfigFolder()
    {
        QCOMPARE(Settings::shared().filePath(),
                 qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Ondel-Test/settings.json"));
    }
};

ONDEL_TEST_MAIN(TestSettings)

#include "tst_settings.moc"
