#pragma once

// What the tests of the desktop app share: a private desktop (a keyring on a session bus of its
// own, a PulseAudio server with null sinks, an X server with no window manager), one local
// server, the built app on them, and reads of the store the app writes.

#include "AppProcess.h"
#include "EndToEndRig.h"
#include "OndelStore.h"
#include "PulseServer.h"
#include "SecretServiceFixture.h"

#include <QColor>
#include <QDeadlineTimer>
#include <QDir>
#include <QHash>
#include <QImage>
#include <QList>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

constexpr int kLineTimeoutMs = 240000; // recognition runs on the same two cores

// A private X server, on a display number it picks itself.
class XServer
{
public:
    ~XServer() { stop(); }

    // Empty on success, else why the server did not come up.
    QString start()
    {
        m_process.setChildProcessModifier(dieWithTheTest);
        // -displayfd: the server takes a free number and writes it once it accepts clients.
        m_process.start("Xvfb", {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
        const QDeadlineTimer deadline(60000);
        while (m_process.waitForStarted(10000) && !m_process.canReadLine() && m_process.state() == QProcess::Running
               && !deadline.hasExpired())
            m_process.waitForReadyRead(100);
        const QString number = QString::fromUtf8(m_process.readLine()).trimmed();
        if (number.isEmpty())
            return "Xvfb gave no display: " + m_process.errorString() + QString::fromUtf8(m_process.readAllStandardError());
        m_display = QLatin1Char(':') + number;
        return {};
    }

    void stop() { stopProcess(m_process); }
    QString display() const { return m_display; }

    // For a client of this display; a Qt program draws on it.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DISPLAY", m_display);
        env.insert("QT_QPA_PLATFORM", "xcb");
        return env;
    }

    // Runs an X client on this display; its standard output, or nothing on failure.
    std::optional<QString> run(const QString &program, const QStringList &arguments) const
    {
        QProcess process;
        process.setProcessEnvironment(environment());
        process.setChildProcessModifier(dieWithTheTest);
        process.start(program, arguments);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
            process.kill();
            process.waitForFinished(5000);
            return std::nullopt;
        }
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    bool xdotool(const QStringList &arguments) const { return run("xdotool", arguments).has_value(); }

    // The one visible top-level window titled "Ondel", or "".
    QString mainWindow() const
    {
        return run("xdotool", {"search", "--sync", "--onlyvisible", "--name", "^Ondel$"})
            .value_or(QString())
            .split(QLatin1Char('\n'), Qt::SkipEmptyParts)
            .value(0);
    }

    // Where the main window stands on the screen.
    QRect mainWindowGeometry() const
    {
        QHash<QString, int> g;
        const QString shell = run("xdotool", {"getwindowgeometry", "--shell", mainWindow()}).value_or(QString());
        for (const QString &line : shell.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            g.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1).toInt());
        return QRect(g.value("X"), g.value("Y"), g.value("WIDTH"), g.value("HEIGHT"));
    }

private:
    QProcess m_process;
    QString m_display;
};

// A desktop test: the private desktop, one local server (`m_origin`, logging to `serverLog()`)
// and the app, driven with the mouse and the keyboard.
class DesktopTest : public QObject
{
protected:
    std::unique_ptr<SecretServiceFixture> m_keyring;
    PulseServer m_pulse;
    XServer m_x;
    QProcess m_server;
    QTemporaryDir m_dir;
    QString m_origin;
    std::unique_ptr<AppProcess> m_app;

    // Empty on success, else what did not come up.
    QString startDesktop(const QString &serverScript)
    {
        m_keyring = std::make_unique<SecretServiceFixture>();
        if (!m_keyring->error().isEmpty())
            return m_keyring->error();
        if (QString error = m_pulse.start(); !error.isEmpty())
            return error;
        if (QString error = m_x.start(); !error.isEmpty())
            return error;
        const int port = startServer(m_server, serverScript, serverLog());
        m_origin = QStringLiteral("http://127.0.0.1:%1/").arg(port);
        return port ? QString() : serverScript + " did not start";
    }
    void stopDesktop()
    {
        m_app.reset();
        stopProcess(m_server);
        m_x.stop();
        m_pulse.stop();
        m_keyring.reset();
    }
    QString serverLog() const { return m_dir.filePath("server.log"); }
    virtual QString failure() { return m_app ? m_app->log() : QString(); }

    // The window gets the keyboard straight from the X server: there is no window manager.
    bool startApp()
    {
        m_app = std::make_unique<AppProcess>(QStringList(), m_x.environment());
        return m_app->waitFor("[Ondel] Main window shown")
            && m_x.xdotool({"windowfocus", "--sync", m_x.mainWindow()});
    }

    // A quick note started from the keyboard, and `sentence` played to the speakers once the
    // start chord is over: the chord's span is blanked from "Them", so speech during it would be lost.
    bool recordQuickNote(const QString &sentence)
    {
        const QString sound = speechFile(m_dir.filePath("them.wav"), sentence);
        if (!key("ctrl+n") || !m_app->waitFor("[Ondel] Recording session started (system audio: active)"))
            return false;
        QTest::qWait(1500);
        const QDeadlineTimer deadline(30000);
        while (!m_pulse.pactl({"list", "short", "sink-inputs"}).trimmed().isEmpty()) {
            if (deadline.hasExpired())
                return false;
            QTest::qWait(100);
        }
        return m_pulse.play(sound, "speakers");
    }

    bool key(const QString &chord) const { return m_x.xdotool({"key", chord}); }
    bool type(const QString &text) const { return m_x.xdotool({"type", "--delay", "20", text}); }
    bool click(const QPoint &at) const
    {
        return m_x.xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "click", "1"});
    }

    // The screen as screenshots/<name>.png in the build folder; the mean lightness (0 to 255)
    // of the window's area in it, or -1.
    double screenshot(const QString &name) const
    {
        QDir().mkpath(QStringLiteral(ONDEL_TEST_BINARY_DIR "/screenshots"));
        const QString file = QStringLiteral(ONDEL_TEST_BINARY_DIR "/screenshots/") + name + ".png";
        if (!m_x.run("import", {"-display", m_x.display(), "-window", "root", file}))
            return -1;
        const QImage image(file);
        const QRect window = m_x.mainWindowGeometry().intersected(image.rect());
        if (window.width() < 400 || window.height() < 300)
            return -1;
        double sum = 0;
        int count = 0;
        for (int y = window.top(); y <= window.bottom(); y += 4)
            for (int x = window.left(); x <= window.right(); x += 4, ++count)
                sum += QColor(image.pixel(x, y)).lightness();
        return sum / count;
    }
};

struct StoredLine
{
    QString meetingId;
    QString speaker;
    QString text;
};

struct StoredMeeting
{
    QString id;
    bool isRecording = false;
    QString summary; // "" for none
};

// The app owns the store; the test only reads it, beside the app's writer (WAL).
template<typename Row>
QList<Row> readStore(const QString &sql, Row (*rowOf)(const QSqlQuery &))
{
    const QString name = "desktop-test-reader";
    QList<Row> rows;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", name);
        db.setDatabaseName(OndelStore::defaultFilePath());
        db.setConnectOptions("QSQLITE_OPEN_READONLY");
        QSqlQuery query(db);
        if (db.open() && query.exec(sql))
            while (query.next())
                rows.append(rowOf(query));
    }
    QSqlDatabase::removeDatabase(name);
    return rows;
}

inline QList<StoredLine> storedLines()
{
    return readStore<StoredLine>("SELECT meeting_id, speaker_raw, text FROM transcript_segments ORDER BY seq",
                                 [](const QSqlQuery &q) {
                                     return StoredLine{q.value(0).toString(), q.value(1).toString(), q.value(2).toString()};
                                 });
}

inline std::optional<StoredMeeting> storedMeeting(const QString &id = {})
{
    const auto meetings = readStore<StoredMeeting>("SELECT id, is_recording, summary FROM meetings", [](const QSqlQuery &q) {
        return StoredMeeting{q.value(0).toString(), q.value(1).toInt() != 0, q.value(2).toString()};
    });
    for (const StoredMeeting &meeting : meetings)
        if (meeting.id == id || (id.isEmpty() && meetings.size() == 1))
            return meeting;
    return std::nullopt;
}

// The best "Them" line for the sentence, if any, among the lines of meetings not in `old`.
inline std::optional<StoredLine> themLineOf(const QString &sentence, const QSet<QString> &old = {})
{
    std::optional<StoredLine> best;
    for (const StoredLine &line : storedLines())
        if (line.speaker == QLatin1String("Them") && !old.contains(line.meetingId) && wordsFound(sentence, line.text) >= 0.7
            && (!best || wordsFound(sentence, line.text) > wordsFound(sentence, best->text)))
            best = line;
    return best;
}

inline QString describe(const QList<StoredLine> &lines)
{
    QStringList out;
    for (const StoredLine &line : lines)
        out << line.speaker + ": " + line.text;
    return out.join(QLatin1Char('\n'));
}
