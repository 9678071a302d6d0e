#include "TestEnvironment.h"

#include "AppIdentity.h"
#include "Log.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMutex>
#include <QProcess>
#include <QRegularExpression>

TestEnvironment::TestEnvironment()
    : m_oldHome(qgetenv("HOME"))
    , m_oldData(qgetenv("XDG_DATA_HOME"))
    , m_oldConfig(qgetenv("XDG_CONFIG_HOME"))
{
    const QString identifier = QString::fromLatin1(AppIdentity::baseIdentifier) + QStringLiteral(".test");
    AppIdentity::setBundleIdentifier(identifier);
    qputenv("ONDEL_BUNDLE_ID", identifier.toUtf8()); // for the programs a test runs
    QDir(m_root.path()).mkpath(QStringLiteral("home"));
    qputenv("HOME", (m_root.path() + QStringLiteral("/home")).toUtf8());
    qputenv("XDG_DATA_HOME", dataHome().toUtf8());
    qputenv("XDG_CONFIG_HOME", configHome().toUtf8());
    Log::install({.toSystemLog = false, .toStderr = false});
}

TestEnvironment::~TestEnvironment()
{
    qputenv("HOME", m_oldHome);
    qputenv("XDG_DATA_HOME", m_oldData);
    qputenv("XDG_CONFIG_HOME", m_oldConfig);
}

QString TestEnvironment::dataHome() const
{
    return m_root.path() + QStringLiteral("/data");
}

QString TestEnvironment::configHome() const
{
    return m_root.path() + QStringLiteral("/config");
}

void settle()
{
    for (int i = 0; i < 5; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
}

QByteArray fileBytes(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

void putFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size());
}

void endProcess(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(5000)) {
        process.kill();
        process.waitForFinished(5000);
    }
}

struct LogRecorder::State
{
    mutable QMutex mutex;
    QElapsedTimer clock;
    QStringList lines;
    QList<qint64> times;
};

LogRecorder::LogRecorder()
    : m_state(std::make_shared<State>())
{
    m_state->clock.start();
    Log::install({.toSystemLog = false, .toStderr = false});
    Log::setObserver([state = m_state](const QString &line) {
        QMutexLocker lock(&state->mutex);
        state->lines.append(line);
        state->times.append(state->clock.elapsed());
    });
}

LogRecorder::~LogRecorder()
{
    Log::setObserver(nullptr);
}

QStringList LogRecorder::lines() const
{
    QMutexLocker lock(&m_state->mutex);
    return m_state->lines;
}

void LogRecorder::clear()
{
    QMutexLocker lock(&m_state->mutex);
    m_state->lines.clear();
    m_state->times.clear();
}

qint64 LogRecorder::now() const
{
    return m_state->clock.elapsed();
}

QList<qint64> LogRecorder::times(const QString &pattern, qint64 since) const
{
    const QRegularExpression expression(pattern);
    QMutexLocker lock(&m_state->mutex);
    QList<qint64> found;
    for (qsizetype i = 0; i < m_state->lines.size(); ++i) {
        if (m_state->times.at(i) >= since && expression.match(m_state->lines.at(i)).hasMatch())
            found.append(m_state->times.at(i));
    }
    return found;
}
