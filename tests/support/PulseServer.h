#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// A private PulseAudio daemon for a test, with null sinks instead of sound cards:
//   "speakers"  the default sink, whose monitor is what the computer plays;
//   "mic_feed"  a sink whose monitor is remapped into "mic", the default source.
// The test process (and its children) talk to it through PULSE_SERVER. Stopped on destruction.
class PulseServer
{
public:
    struct Options
    {
        bool withDevices = true; // false: a server with no sink or source at all
        bool micIsMonitor = false; // the default source is a sink's monitor, not an input
    };

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

private:
    QTemporaryDir m_dir;
    QProcess m_daemon;
    QByteArray m_previousServer;
};
