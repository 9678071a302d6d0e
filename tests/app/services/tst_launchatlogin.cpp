#include "LaunchAtLogin.h"
#include "TestEnvironment.h"
#include "xdg/XdgAutostartLoginItem.h"

#include <QDir>
#include <QFile>

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class TestLaunchAtLogin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The user's autostart folder gets an entry named after the bundle identifier that starts
    // this very program; switching off removes it.
    void entryComesAndGoes()
    {
        const QString path = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/autostart/com.tarnwyk.ondel.test.desktop");
        LogRecorder log;
        LaunchAtLogin launch;
        QVERIFY(!launch.isEnabled());

        launch.set(true);
        QCOMPARE(readFile(path), QByteArray("[Desktop Entry]\n"
                                            "Type=Application\n"
                                            "Name=Ondel-Test\n"
                                            "Exec=")
                                     + QCoreApplication::applicationFilePath().toUtf8()
                                     + "\n"
                                       "Terminal=false\n"
                                       "Hidden=false\n"
                                       "X-GNOME-Autostart-enabled=true\n");
        QVERIFY(launch.isEnabled());
        launch.set(true); // again: the same entry
        QVERIFY(launch.isEnabled());

        launch.set(false);
        QVERIFY(!QFile::exists(path));
        QVERIFY(!launch.isEnabled());
        launch.set(false); // nothing to remove is no error
        QCOMPARE(log.lines(), QStringList({QStringLiteral("[Ondel] Launch at login enabled"), QStringLiteral("[Ondel] Launch at login enabled"),
                                          QStringLiteral("[Ondel] Launch at login disabled"),
                                          QStringLiteral("[Ondel] Launch at login disabled")}));
    }

    // A failure is one log line; the program goes on and the state is what the disk says.
    void failuresAreLogged_data()
    {
        QTest::addColumn<bool>("enable");
        QTest::addColumn<QString>("error"); // "<folder>" stands for the autostart folder
        QTest::newRow("the folder is a file") << true << "Cannot create the folder <folder>";
        QTest::newRow("the entry is a folder with files") << false << "<folder>/com.tarnwyk.ondel.test.desktop: ";
    }
    void failuresAreLogged()
    {
        QFETCH(bool, enable);
        QFETCH(QString, error);
        QTemporaryDir root;
        const QString folder = root.filePath(QStringLiteral("autostart"));
        const QString entry = folder + QStringLiteral("/com.tarnwyk.ondel.test.desktop");
        if (enable)
            QVERIFY(writeFile(folder, "not a folder"));
        else
            QVERIFY(QDir().mkpath(entry + QStringLiteral("/inside")));
        LogRecorder log;
        LaunchAtLogin launch(std::make_unique<XdgAutostartLoginItem>(folder, QStringLiteral("/usr/bin/ondel")));
        launch.set(enable);
        QCOMPARE(log.lines().size(), 1);
        QVERIFY2(log.lines().first().startsWith(QStringLiteral("[Ondel] Launch at login error: ") + QString(error).replace(QLatin1String("<folder>"), folder)),
                 qPrintable(log.lines().first()));
        QVERIFY(!launch.isEnabled());
    }

    // The Exec key quotes a path that needs it, and escapes twice inside the quotes.
    void execLine_data()
    {
        QTest::addColumn<QString>("executable");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain") << "/opt/ondel/bin/ondel" << "Exec=/opt/ondel/bin/ondel";
        QTest::newRow("a space") << "/home/ann/My Apps/ondel" << "Exec=\"/home/ann/My Apps/ondel\"";
        QTest::newRow("a percent sign") << "/opt/100%/ondel" << "Exec=/opt/100%%/ondel";
        QTest::newRow("dollar and quote") << "/opt/$x\"y/ondel" << "Exec=\"/opt/\\\\$x\\\\\"y/ondel\"";
        QTest::newRow("a backslash") << "/opt/a\\b/ondel" << "Exec=\"/opt/a\\\\\\\\b/ondel\"";
    }
    void execLine()
    {
        QFETCH(QString, executable);
        QFETCH(QString, exec);
        const QStringList lines = QString::fromUtf8(XdgAutostartLoginItem::desktopEntry(QStringLiteral("Ondel"), executable)).split(QLatin1Char('\n'));
        QVERIFY(lines.contains(exec));
    }

    // An entry another tool switched off counts as off.
    void readsTheEntryBack_data()
    {
        QTest::addColumn<QByteArray>("entry"); // null: no file
        QTest::addColumn<bool>("enabled");
        QTest::newRow("no entry") << QByteArray() << false;
        QTest::newRow("ours") << XdgAutostartLoginItem::desktopEntry(QStringLiteral("Ondel"), QStringLiteral("/usr/bin/ondel")) << true;
        QTest::newRow("hidden") << QByteArray("[Desktop Entry]\nExec=ondel\nHidden=true\n") << false;
        QTest::newRow("hidden, spaced") << QByteArray("[Desktop Entry]\nExec=ondel\nHidden = true\n") << false;
        QTest::newRow("GNOME switched it off") << QByteArray("[Desktop Entry]\nExec=ondel\nX-GNOME-Autostart-enabled=false\n") << false;
        QTest::newRow("hidden in another group") << QByteArray("[Desktop Entry]\nExec=ondel\n[Desktop Action x]\nHidden=true\n") << true;
    }
    void readsTheEntryBack()
    {
        QFETCH(QByteArray, entry);
        QFETCH(bool, enabled);
        QTemporaryDir folder;
        XdgAutostartLoginItem item(folder.path(), QStringLiteral("/usr/bin/ondel"));
        if (!entry.isNull())
            QVERIFY(writeFile(item.entryPath(), entry));
        QCOMPARE(item.isRegistered(), enabled);
    }
};

ONDEL_TEST_MAIN(TestLaunchAtLogin)

#include "tst_launchatlogin.moc"
