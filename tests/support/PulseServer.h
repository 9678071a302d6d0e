#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// A private sound server for a test that speaks the PulseAudio protocol, with null sinks
// instead of sound cards:
//   "speakers"  the default sink, whose monitor is what the computer plays;
//   "mic_feed"  a sink whose monitor is remapped into "mic", the default source.
// Either PulseAudio itself, or PipeWire with WirePlumber and pipewire-pulse, each in a runtime
// folder of its own, without systemd and without a session bus, and kept off the machine's
// sound cards. The test process (and its children) talk to it through PULSE_SERVER. Stopped on
// destruction.
class PulseServer
{
public:
    enum class Kind { PulseAudio, PipeWire };

    struct Options
    {
        bool withDevices = true; // false: a server with no sink or source at all
        bool micIsMonitor = false; // the default source is a sink's monitor, not an input
        Kind kind = Kind::PulseAudio;
    };

    // Whether this machine has the server's programs at all.
    static bool isInstalled(Kind kind);

    PulseServer();
    ~PulseServer();

    // Empty on success, else why the daemon did not come up.
    QString start(const Options &options);
    QString start() { return start(Options{}); }
    void stop();
    // Ends the daemon abruptly, as a crash would.
    void kill();

    QString socketPath() const;
    // Runs pactl against this server; its standard output, or a null string on failure.
    QString pactl(const QStringList &arguments) const;
    // Plays a sound file into a sink and returns when it has been played.
    bool play(const QString &file, const QString &sink) const;
    // A WAV file of a sine tone, made with sox in the server's folder.
    QString tone(double seconds, int frequency, double volume = 0.5) const;
    // The server's default sink and source, as it names them now.
    QString defaultSink() const { return infoField(QStringLiteral("Default Sink: ")); }
    QString defaultSource() const { return infoField(QStringLiteral("Default Source: ")); }

private:
    QString startPulseAudio(const QStringList &script);
    QString startPipeWire(const QStringList &script);
    QString startProcess(QProcess &process, const QString &program, const QStringList &arguments);
    QString infoField(const QString &label) const;

    QTemporaryDir m_dir;
    QProcess m_daemon; // pulseaudio, or pipewire-pulse
    QProcess m_pipeWire;
    QProcess m_sessionManager;
    QByteArray m_previousServer;
};
