#include "TestEnvironment.h"

#include "AppIdentity.h"
#include "Log.h"

#include <QCoreApplication>
#include <QDir>
#include <QMutex>

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

struct LogRecorder::State
{
    mutable QMutex mutex;
    QStringList lines;
};

LogRecorder::LogRecorder()
    : m_state(std::make_shared<State>())
{
    Log::install({.toSystemLog = false, .toStderr = false});
    Log::setObserver([state = m_state](const QString &line) {
        QMutexLocker lock(&state->mutex);
        state->lines.append(line);
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
}
