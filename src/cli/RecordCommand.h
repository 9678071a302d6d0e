#pragma once

#include <QObject>
#include <QStringList>
#include <QTextStream>

class AppServices;
class DualStreamMixer;
class MicrophonePermission;
class SessionFollower;
class TranscriptionSession;

// `record` and `transcribe`: a recording of the live streams, or of a sound file played through
// the same chunking, cutting, upload queue and storing as a live stream of one speaker.
class RecordCommand : public QObject
{
    Q_OBJECT

public:
    RecordCommand(AppServices &services, QTextStream &out, QTextStream &err, QObject *parent = nullptr);
    ~RecordCommand() override;

    // Both return Cli::Pending when they go on in the event loop, else an exit status.
    int record(const QStringList &args);
    int transcribe(const QStringList &args);

Q_SIGNALS:
    void finished(int exitCode);

private:
    int begin(TranscriptionSession &session, const QString &title);
    void stop();

    AppServices &m_services;
    QTextStream &m_out;
    QTextStream &m_err;
    TranscriptionSession *m_session = nullptr;
    SessionFollower *m_follower = nullptr;
    // The file transcription's own audio and session.
    struct FileParts;
    std::unique_ptr<FileParts> m_file;
};
