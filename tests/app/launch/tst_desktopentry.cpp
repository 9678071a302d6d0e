#include "TestEnvironment.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

const QString identifier = QStringLiteral("com.tarnwyk.ondel.test");

QString read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool writeScript(const QString &path, const QString &body)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(("#!/bin/sh\n" + body + "\n").toUtf8()) > 0
        && file.setPermissions(file.permissions() | QFile::ExeOwner);
}

} // namespace

// The script that makes a built app known to the desktop, run for real into the test's data
// folder. A stand-in app, in a folder whose name needs every kind of quoting, records how it
// was started; stand-in desktop tools record how they were called, and may fail.
class TestDesktopEntry : public QObject
{
    Q_OBJECT

    const QString m_root = qEnvironmentVariable("HOME"); // the test's own
    const QString m_data = qEnvironmentVariable("XDG_DATA_HOME");
    const QString m_entry = m_data + QStringLiteral("/applications/") + identifier + QStringLiteral(".desktop");
    const QString m_app = m_root + QStringLiteral("/my apps/it's \"Ondel\" $HOME \\ build/ondel");
    const QString m_tools = m_root + QStringLiteral("/tools");
    const QString m_calls = m_root + QStringLiteral("/calls");

    int install(const QString &app, const QString &toolStatus = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!toolStatus.isEmpty()) {
            environment.insert(QStringLiteral("PATH"), m_tools + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
            environment.insert(QStringLiteral("TOOL_STATUS"), toolStatus);
        }
        QProcess script;
        script.setProcessEnvironment(environment);
        script.start(QStringLiteral("bash"), {QStringLiteral(ONDEL_SOURCE_DIR "/scripts/install-desktop-entry.sh"), app, identifier});
        script.waitForFinished(60000);
        return script.exitStatus() == QProcess::NormalExit ? script.exitCode() : -1;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir().mkpath(QFileInfo(m_app).path()) && QDir().mkpath(m_tools));
        QVERIFY(writeScript(m_app, QStringLiteral("for a in \"$@\"; do printf '%s\\n' \"$a\"; done > '%1/arguments'").arg(m_root)));
        for (const QString tool : {"xdg-mime", "update-desktop-database"})
            QVERIFY(writeScript(m_tools + '/' + tool, QStringLiteral("echo \"%1 $*\" >> '%2'; exit $TOOL_STATUS").arg(tool, m_calls)));
    }

    void init()
    {
        QDir(m_data).removeRecursively();
        QFile::remove(m_calls);
    }

    void installsEntryIconAndHandler_data()
    {
        QTest::addColumn<QString>("toolStatus");
        QTest::newRow("the tools succeed") << QStringLiteral("0");
        QTest::newRow("the tools fail") << QStringLiteral("3");
    }
    void installsEntryIconAndHandler()
    {
        QFETCH(QString, toolStatus);
        QCOMPARE(install(m_app, toolStatus), 0);
        const QStringList entry = read(m_entry).split(QLatin1Char('\n'));
        // Quoted by the rules of Exec, then with each backslash doubled by the rule of strings.
        const QString exec = QStringLiteral("Exec=\"%1/my apps/it's \\\\\"Ondel\\\\\" \\\\$HOME \\\\\\\\ build/ondel\" %u").arg(m_root);
        for (const QString &line : {QStringLiteral("[Desktop Entry]"), exec, QStringLiteral("Icon=") + identifier,
                                    QStringLiteral("MimeType=x-scheme-handler/ondel;")})
            QVERIFY2(entry.contains(line), qPrintable(line));
        QCOMPARE(read(m_data + "/icons/hicolor/scalable/apps/" + identifier + ".svg"),
                 read(QStringLiteral(ONDEL_SOURCE_DIR "/packaging/linux/ondel.svg")));
        // The tray's idle icon, which the panel recolours by its "-symbolic" name.
        QCOMPARE(read(m_data + "/icons/hicolor/symbolic/apps/" + identifier + "-tray-symbolic.svg"),
                 read(QStringLiteral(ONDEL_SOURCE_DIR "/packaging/linux/ondel-tray-symbolic.svg")));
        QCOMPARE(read(m_calls).split(QLatin1Char('\n'), Qt::SkipEmptyParts),
                 QStringList({"update-desktop-database -q " + m_data + "/applications",
                              "xdg-mime default " + identifier + ".desktop x-scheme-handler/ondel"}));
    }

    // Without the tools, GLib (as a desktop would) starts the app through the entry with the
    // link as one argument.
    void theDesktopStartsTheAppWithTheLink()
    {
        const QString gio = QStandardPaths::findExecutable(QStringLiteral("gio"));
        if (gio.isEmpty())
            QSKIP("gio is not installed");
        QCOMPARE(install(m_app), 0);
        const QString link = QStringLiteral("ondel://auth?token=abc&next=%2Fhome");
        QCOMPARE(QProcess::execute(gio, {QStringLiteral("launch"), m_entry, link}), 0);
        QTRY_COMPARE(read(m_root + QStringLiteral("/arguments")), link + QLatin1Char('\n'));
    }

    void noBuiltAppLeavesEverythingAlone()
    {
        QCOMPARE(install(m_root + QStringLiteral("/nothing-here/ondel"), QStringLiteral("0")), 0);
        QVERIFY(!QFile::exists(m_entry));
        QVERIFY(!QFile::exists(m_calls));
    }
};

ONDEL_TEST_MAIN(TestDesktopEntry)

#include "tst_desktopentry.moc"
