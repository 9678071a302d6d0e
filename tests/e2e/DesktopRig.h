#pragma once

// What the tests of the desktop app share: a private X server, the built app on it, and reads
// of the store the app writes.

#include "OndelStore.h"
#include "PulseServer.h"
#include "SecretServiceFixture.h"
#include "SpeechCheck.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QList>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>
#include <memory>
#include <optional>
#include <sys/prctl.h>

constexpr int kWindowTimeoutMs = 120000; // a cold start of the QML engine on a busy machine
constexpr int kLineTimeoutMs = 240000; // recognition runs on the same two cores

// A helper that crashes takes its children with it.
inline void dieWithTheTest()
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

inline void stopProcess(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(10000);
    }
}

// Speech as a WAV file, spoken by flite.
inline QString speechFile(const QString &path, const QString &text)
{
    QProcess flite;
    flite.start(QStringLiteral("flite"), {QStringLiteral("-voice"), QStringLiteral("slt"), QStringLiteral("-t"), text,
                                          QStringLiteral("-o"), path});
    flite.waitForFinished(60000);
    return path;
}

// Starts one of the local servers (a python script that prints its port first, logging to
// `log`); the port, or 0 when it did not come up.
inline int startServer(QProcess &server, const QString &script, const QString &log)
{
    server.setChildProcessModifier(dieWithTheTest);
    server.start(QStringLiteral("/usr/bin/python3"), {script, log});
    if (!server.waitForStarted(10000) || !server.waitForReadyRead(30000))
        return 0;
    return server.readLine().trimmed().toInt();
}

// A private X server with no window manager, on a display number it picks itself.
class XServer
{
public:
    ~XServer() { stop(); }

    // Empty on success, else why the server did not come up.
    QString start()
    {
        m_process.setChildProcessModifier(dieWithTheTest);
        // -displayfd: the server takes a free number and writes it once it accepts clients.
        m_process.start(QStringLiteral("Xvfb"), {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                                                 QStringLiteral("0"), QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                                                 QStringLiteral("tcp")});
        if (!m_process.waitForStarted(10000))
            return QStringLiteral("Xvfb did not start: ") + m_process.errorString();
        const QDeadlineTimer deadline(60000);
        while (!m_process.canReadLine() && m_process.state() == QProcess::Running && !deadline.hasExpired())
            m_process.waitForReadyRead(100);
        const QString number = QString::fromUtf8(m_process.readLine()).trimmed();
        if (number.isEmpty())
            return QStringLiteral("Xvfb gave no display: ") + QString::fromUtf8(m_process.readAllStandardError());
        m_display = QLatin1Char(':') + number;
        return {};
    }

    void stop() { stopProcess(m_process); }
    QString display() const { return m_display; }

    // Runs an X client on this display; its standard output, or nothing on failure.
    std::optional<QString> run(const QString &program, const QStringList &arguments) const
    {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), m_display);
        process.setProcessEnvironment(env);
        process.setChildProcessModifier(dieWithTheTest);
        process.start(program, arguments);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
            process.kill();
            process.waitForFinished(5000);
            return std::nullopt;
        }
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    bool xdotool(const QStringList &arguments) const { return run(QStringLiteral("xdotool"), arguments).has_value(); }

    // The one visible top-level window titled "Ondel", or "".
    QString mainWindow() const
    {
        const QString ids = run(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--sync"),
                                                            QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                                                            QStringLiteral("^Ondel$")})
                                .value_or(QString());
        return ids.split(QLatin1Char('\n'), Qt::SkipEmptyParts).value(0);
    }

    // The whole screen as a PNG file.
    bool screenshot(const QString &file) const
    {
        return run(QStringLiteral("import"), {QStringLiteral("-display"), m_display, QStringLiteral("-window"),
                                              QStringLiteral("root"), file})
            .has_value();
    }

private:
    QProcess m_process;
    QString m_display;
};

// The built desktop app on the private display, as a user starts it; it ends with the test.
class DesktopApp
{
public:
    explicit DesktopApp(const QString &display)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), display);
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        m_process.setProcessEnvironment(env);
        m_process.setChildProcessModifier(dieWithTheTest);
        m_process.start(QStringLiteral(ONDEL_APP_PATH), {});
    }
    ~DesktopApp() { stop(); }

    QString log()
    {
        m_log += QString::fromUtf8(m_process.readAllStandardError() + m_process.readAllStandardOutput());
        return m_log;
    }
    bool logged(const QString &line) { return log().split(QLatin1Char('\n')).contains(line); }
    // Gives up early when the app has ended.
    bool waitFor(const QString &line, int timeoutMs = kWindowTimeoutMs)
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (!logged(line) && isRunning() && !deadline.hasExpired())
            QTest::qWait(100);
        return logged(line);
    }
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    // The app has no quit dialog: it ends on SIGTERM, and the next start repairs what it left.
    void stop() { stopProcess(m_process); }

private:
    QProcess m_process;
    QString m_log;
};

// The private desktop the app runs on: a keyring on a session bus of its own, a PulseAudio
// server with null sinks, and an X server.
struct PrivateDesktop
{
    std::unique_ptr<SecretServiceFixture> keyring;
    PulseServer pulse;
    XServer x;

    // Empty on success, else what did not come up.
    QString start()
    {
        keyring = std::make_unique<SecretServiceFixture>();
        if (!keyring->error().isEmpty())
            return keyring->error();
        if (QString error = pulse.start(); !error.isEmpty())
            return error;
        return x.start();
    }
    void stop()
    {
        x.stop();
        pulse.stop();
        keyring.reset();
    }

    // Plays `sound` to the speakers once the recording's start chord is over: the chord's span
    // is blanked from "Them", so speech during it would be lost.
    bool playAfterStartChord(const QString &sound)
    {
        QTest::qWait(1500);
        const QDeadlineTimer deadline(30000);
        while (!pulse.pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sink-inputs")}).trimmed().isEmpty()) {
            if (deadline.hasExpired())
                return false;
            QTest::qWait(100);
        }
        return pulse.play(sound, QStringLiteral("speakers"));
    }
};

// Where a desktop test leaves its screenshots, in the build folder.
inline QString screenshotPath(const QString &name)
{
    QDir().mkpath(QStringLiteral(ONDEL_TEST_BINARY_DIR "/screenshots"));
    return QStringLiteral(ONDEL_TEST_BINARY_DIR "/screenshots/") + name;
}

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
    const QString name = QStringLiteral("desktop-test-reader");
    QList<Row> rows;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(OndelStore::defaultFilePath());
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(sql))
                while (query.next())
                    rows.append(rowOf(query));
        }
    }
    QSqlDatabase::removeDatabase(name);
    return rows;
}

inline QList<StoredLine> storedLines()
{
    return readStore<StoredLine>(QStringLiteral("SELECT meeting_id, speaker_raw, text FROM transcript_segments ORDER BY seq"),
                                 [](const QSqlQuery &q) {
                                     return StoredLine{q.value(0).toString(), q.value(1).toString(), q.value(2).toString()};
                                 });
}

inline QList<StoredMeeting> storedMeetings()
{
    return readStore<StoredMeeting>(QStringLiteral("SELECT id, is_recording, summary FROM meetings"), [](const QSqlQuery &q) {
        return StoredMeeting{q.value(0).toString(), q.value(1).toInt() != 0, q.value(2).toString()};
    });
}

inline std::optional<StoredMeeting> storedMeeting(const QString &id)
{
    for (const StoredMeeting &meeting : storedMeetings())
        if (meeting.id == id)
            return meeting;
    return std::nullopt;
}

// The best "Them" line for the sentence, if any.
inline std::optional<StoredLine> themLineOf(const QString &sentence)
{
    std::optional<StoredLine> best;
    for (const StoredLine &line : storedLines())
        if (line.speaker == QLatin1String("Them") && wordsFound(sentence, line.text) >= 0.7
            && (!best || wordsFound(sentence, line.text) > wordsFound(sentence, best->text)))
            best = line;
    return best;
}

inline QString describe(const QList<StoredLine> &lines)
{
    QStringList out;
    for (const StoredLine &line : lines)
        out << line.speaker + QStringLiteral(": ") + line.text;
    return out.join(QLatin1Char('\n'));
}
