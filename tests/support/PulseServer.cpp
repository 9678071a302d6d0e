#include "PulseServer.h"
#include "TestEnvironment.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
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
    // PulseAudio is given it; pipewire-pulse puts it there by PULSE_RUNTIME_PATH.
    return m_dir.filePath(QStringLiteral("run/native"));
}

bool PulseServer::isInstalled(Kind kind)
{
    const QStringList programs = kind == Kind::PulseAudio
                                     ? QStringList{QStringLiteral("pulseaudio")}
                                     : QStringList{QStringLiteral("pipewire"), QStringLiteral("wireplumber"), QStringLiteral("pipewire-pulse")};
    for (const QString &program : programs) {
        if (QStandardPaths::findExecutable(program).isEmpty())
            return false;
    }
    return true;
}

QString PulseServer::start(const Options &options)
{
    QDir(m_dir.path()).mkpath(QStringLiteral("run"));
    QDir(m_dir.path()).mkpath(QStringLiteral("state"));
    QStringList script;
    if (options.withDevices) {
        script << QStringLiteral("load-module module-null-sink sink_name=speakers")
               << QStringLiteral("load-module module-null-sink sink_name=mic_feed")
               << QStringLiteral("load-module module-remap-source master=mic_feed.monitor source_name=mic")
               << QStringLiteral("set-default-sink speakers")
               << (options.micIsMonitor ? QStringLiteral("set-default-source speakers.monitor") : QStringLiteral("set-default-source mic"));
    }
    QString why = options.kind == Kind::PulseAudio ? startPulseAudio(script) : startPipeWire(script);
    if (!why.isEmpty())
        return why;
    if (!options.withDevices)
        return {};
    // PipeWire's session manager makes a configured default the default a moment later.
    const QDeadlineTimer deadline(15000);
    while (defaultSink() != QLatin1String("speakers") || (!options.micIsMonitor && defaultSource() != QLatin1String("mic"))) {
        if (deadline.hasExpired())
            return QStringLiteral("the server's defaults did not settle: sink \"%1\", source \"%2\"").arg(defaultSink(), defaultSource());
        QThread::msleep(20);
    }
    return {};
}

QString PulseServer::startProcess(QProcess &process, const QString &program, const QStringList &arguments)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), m_dir.path());
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.filePath(QStringLiteral("run")));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_STATE_HOME"), m_dir.filePath(QStringLiteral("state")));
    env.insert(QStringLiteral("PULSE_RUNTIME_PATH"), m_dir.filePath(QStringLiteral("run")));
    env.insert(QStringLiteral("PULSE_STATE_PATH"), m_dir.filePath(QStringLiteral("state")));
    // No session bus, and none started on the way through an X display.
    for (const char *name : {"DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY", "PIPEWIRE_REMOTE", "PULSE_SERVER"})
        env.remove(QString::fromLatin1(name));
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::MergedChannels);
    // A test that crashes or times out does not leave its daemon behind.
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        return program + QStringLiteral(" did not start: ") + process.errorString();
    return {};
}

QString PulseServer::startPulseAudio(const QStringList &script)
{
    QFile config(m_dir.filePath(QStringLiteral("default.pa")));
    if (!config.open(QIODevice::WriteOnly))
        return QStringLiteral("cannot write the daemon's script");
    const QStringList lines = QStringList{QStringLiteral("load-module module-native-protocol-unix socket=%1 auth-anonymous=1").arg(socketPath())} + script;
    config.write(lines.join(QLatin1Char('\n')).toUtf8() + '\n');
    config.close();

    if (QString why = startProcess(m_daemon, QStringLiteral("pulseaudio"),
                                   {QStringLiteral("-n"), QStringLiteral("-F"), config.fileName(), QStringLiteral("--daemonize=no"),
                                    QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--log-target=stderr")});
        !why.isEmpty())
        return why;

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

QString PulseServer::startPipeWire(const QStringList &script)
{
    // WirePlumber watches no sound card, camera or Bluetooth here, and asks no portal: the test
    // must never take the machine's devices, and there is no session bus.
    const QDir config(m_dir.filePath(QStringLiteral("config/wireplumber")));
    config.mkpath(QStringLiteral("main.lua.d"));
    config.mkpath(QStringLiteral("bluetooth.lua.d"));
    const auto write = [](const QString &path, const QByteArray &text) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    };
    if (!write(config.filePath(QStringLiteral("main.lua.d/60-ondel-test.lua")),
               "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\nlibcamera_monitor.enabled = false\n"
               "default_access.properties[\"enable-flatpak-portal\"] = false\n")
        || !write(config.filePath(QStringLiteral("bluetooth.lua.d/60-ondel-test.lua")), "bluez_monitor.enabled = false\n"))
        return QStringLiteral("cannot write WirePlumber's configuration");

    if (QString why = startProcess(m_pipeWire, QStringLiteral("pipewire"), {}); !why.isEmpty())
        return why;
    const QString pipeWireSocket = m_dir.filePath(QStringLiteral("run/pipewire-0"));
    const QDeadlineTimer deadline(15000);
    while (!QFile::exists(pipeWireSocket)) {
        if (m_pipeWire.state() != QProcess::Running)
            return QStringLiteral("pipewire exited: ") + QString::fromUtf8(m_pipeWire.readAll());
        if (deadline.hasExpired())
            return QStringLiteral("pipewire did not make its socket");
        QThread::msleep(20);
    }
    if (QString why = startProcess(m_sessionManager, QStringLiteral("wireplumber"), {}); !why.isEmpty())
        return why;
    if (QString why = startProcess(m_daemon, QStringLiteral("pipewire-pulse"), {}); !why.isEmpty())
        return why;

    qputenv("PULSE_SERVER", (QStringLiteral("unix:") + socketPath()).toUtf8());
    while (pactl({QStringLiteral("info")}).isNull()) {
        for (QProcess *process : {&m_pipeWire, &m_sessionManager, &m_daemon}) {
            if (process->state() != QProcess::Running)
                return process->program() + QStringLiteral(" exited: ") + QString::fromUtf8(process->readAll());
        }
        if (deadline.hasExpired())
            return QStringLiteral("pipewire-pulse did not answer");
        QThread::msleep(50);
    }
    // A device just loaded is known to pipewire-pulse only a moment later.
    for (const QString &line : script) {
        while (pactl(line.split(QLatin1Char(' '))).isNull()) {
            if (deadline.hasExpired())
                return QStringLiteral("pipewire-pulse refused: ") + line;
            QThread::msleep(20);
        }
    }
    return {};
}

void PulseServer::stop()
{
    for (QProcess *process : {&m_daemon, &m_sessionManager, &m_pipeWire})
        endProcess(*process);
}

void PulseServer::kill()
{
    for (QProcess *process : {&m_daemon, &m_sessionManager, &m_pipeWire}) {
        process->kill(); // nothing, where none runs
        process->waitForFinished(5000);
    }
}

QString PulseServer::infoField(const QString &label) const
{
    const QStringList lines = pactl({QStringLiteral("info")}).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(label))
            return line.mid(label.size()).trimmed();
    }
    return {};
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
