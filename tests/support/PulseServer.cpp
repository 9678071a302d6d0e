#include "PulseServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <csignal>
#include <sys/prctl.h>

PulseServer::PulseServer()
    : m_previousServer(qgetenv("PULSE_SERVER"))
{
}

PulseServer::~PulseServer()
{
    stop();
    if (m_previousServer.isNull())
        qunsetenv("PULSE_SERVER");
    else
        qputenv("PULSE_SERVER", m_previousServer);
}

QString PulseServer::socketPath() const
{
    return m_dir.filePath(QStringLiteral("run/native"));
}

QString PulseServer::start(const Options &options)
{
    QDir(m_dir.path()).mkpath(QStringLiteral("run"));
    QDir(m_dir.path()).mkpath(QStringLiteral("state"));
    QStringList script = {
        QStringLiteral("load-module module-native-protocol-unix socket=%1 auth-anonymous=1").arg(socketPath()),
    };
    if (options.withDevices) {
        script << QStringLiteral("load-module module-null-sink sink_name=speakers")
               << QStringLiteral("load-module module-null-sink sink_name=mic_feed")
               << QStringLiteral("load-module module-remap-source master=mic_feed.monitor source_name=mic")
               << QStringLiteral("set-default-sink speakers")
               << (options.micIsMonitor ? QStringLiteral("set-default-source speakers.monitor") : QStringLiteral("set-default-source mic"));
    }
    QFile config(m_dir.filePath(QStringLiteral("default.pa")));
    if (!config.open(QIODevice::WriteOnly))
        return QStringLiteral("cannot write the daemon's script");
    config.write(script.join(QLatin1Char('\n')).toUtf8() + '\n');
    config.close();

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), m_dir.path());
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.filePath(QStringLiteral("run")));
    env.insert(QStringLiteral("PULSE_RUNTIME_PATH"), m_dir.filePath(QStringLiteral("run")));
    env.insert(QStringLiteral("PULSE_STATE_PATH"), m_dir.filePath(QStringLiteral("state")));
    env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    m_daemon.setProcessEnvironment(env);
    m_daemon.setProcessChannelMode(QProcess::MergedChannels);
    // A test that crashes or times out does not leave its daemon behind.
    m_daemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_daemon.start(QStringLiteral("pulseaudio"),
                   {QStringLiteral("-n"), QStringLiteral("-F"), config.fileName(), QStringLiteral("--daemonize=no"),
                    QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--log-target=stderr")});
    if (!m_daemon.waitForStarted(10000))
        return QStringLiteral("pulseaudio did not start: ") + m_daemon.errorString();

    qputenv("PULSE_SERVER", (QStringLiteral("unix:") + socketPath()).toUtf8());
    // Wait until it answers; a daemon that dies on the way says why.
    const QDeadlineTimer deadline(15000);
    while (!deadline.hasExpired()) {
        if (m_daemon.state() != QProcess::Running)
            return QStringLiteral("pulseaudio exited: ") + QString::fromUtf8(m_daemon.readAll());
        if (!pactl({QStringLiteral("info")}).isNull())
            return {};
        QThread::msleep(50);
    }
    return QStringLiteral("pulseaudio did not answer");
}

void PulseServer::stop()
{
    if (m_daemon.state() == QProcess::NotRunning)
        return;
    m_daemon.terminate();
    if (!m_daemon.waitForFinished(5000)) {
        m_daemon.kill();
        m_daemon.waitForFinished(5000);
    }
}

void PulseServer::kill()
{
    m_daemon.kill();
    m_daemon.waitForFinished(5000);
}

QString PulseServer::pactl(const QStringList &arguments) const
{
    QProcess process;
    process.start(QStringLiteral("pactl"), arguments);
    if (!process.waitForFinished(10000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {};
    return QString::fromUtf8(process.readAllStandardOutput()) + QString(QLatin1String(""));
}

bool PulseServer::play(const QString &file, const QString &sink) const
{
    QProcess process;
    process.start(QStringLiteral("paplay"), {QStringLiteral("--device=") + sink, file});
    return process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString PulseServer::tone(double seconds, int frequency, double volume) const
{
    const QString file = m_dir.filePath(QStringLiteral("tone-%1-%2.wav").arg(frequency).arg(seconds));
    QProcess sox;
    sox.start(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("48000"), QStringLiteral("-c"),
                                      QStringLiteral("2"), file, QStringLiteral("synth"), QString::number(seconds),
                                      QStringLiteral("sine"), QString::number(frequency), QStringLiteral("vol"), QString::number(volume)});
    sox.waitForFinished(30000);
    return file;
}
