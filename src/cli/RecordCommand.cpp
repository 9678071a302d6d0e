#include "RecordCommand.h"

#include "AppServices.h"
#include "AudioFileReader.h"
#include "BufferRecorder.h"
#include "Cli.h"
#include "DualStreamMixer.h"
#include "InterruptWatcher.h"
#include "MeetingArchiver.h"
#include "MainThread.h"
#include "OndelStore.h"
#include "SessionFollower.h"
#include "TranscriptionSession.h"

#include <QPointer>
#include <QTimer>

namespace {

// A file needs no microphone, so nothing is asked.
class FilePermission final : public MicrophonePermission
{
public:
    Status status() const override { return Status::Authorized; }
    void requestAccess(QObject *, std::function<void(bool)>) override {}
};

// The stream that is not the file's: it starts, and stays silent.
class FailingRecorder final : public AudioRecorder
{
public:
    std::optional<RecorderError> start() override { return RecorderError{QStringLiteral("no second stream in a file")}; }
    void stop() override {}
    float level() const override { return 0; }
};

struct Options
{
    QString title;
    int seconds = 0;
    QString speaker = QStringLiteral("me");
    QStringList positional;
    QString error;
};

Options parse(const QStringList &args, const QStringList &allowed)
{
    Options o;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        if (a.startsWith(QLatin1String("--"))) {
            if (!allowed.contains(a)) {
                o.error = QStringLiteral("Unknown option %1.").arg(a);
                return o;
            }
            if (i + 1 >= args.size()) {
                o.error = QStringLiteral("%1 needs a value.").arg(a);
                return o;
            }
            const QString value = args.at(++i);
            if (a == QLatin1String("--title")) {
                o.title = value;
            } else if (a == QLatin1String("--seconds")) {
                bool ok = false;
                o.seconds = value.toInt(&ok);
                if (!ok || o.seconds <= 0)
                    o.error = QStringLiteral("--seconds takes a whole number above 0.");
            } else if (a == QLatin1String("--speaker")) {
                o.speaker = value;
                if (value != QLatin1String("me") && value != QLatin1String("them"))
                    o.error = QStringLiteral("--speaker takes me or them.");
            }
        } else {
            o.positional << a;
        }
    }
    return o;
}

} // namespace

struct RecordCommand::FileParts
{
    BufferRecorder silent;
    std::unique_ptr<BufferRecorder> file;
    FailingRecorder absent;
    std::unique_ptr<DualStreamMixer> mixer;
    FilePermission permission;
    std::unique_ptr<TranscriptionSession> session;
};

RecordCommand::RecordCommand(AppServices &services, QTextStream &out, QTextStream &err, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_out(out)
    , m_err(err)
{
}

RecordCommand::~RecordCommand() = default;

int RecordCommand::begin(TranscriptionSession &session, const QString &title)
{
    m_session = &session;
    OndelStore &store = m_services.store();
    std::optional<QUuid> meetingId;
    if (!title.isEmpty()) {
        // A title from the command line is the user's own: no generated one replaces it.
        Meeting meeting(title, m_services.clock().now());
        meeting.titleIsUserEdited = true;
        if (!store.insert(meeting)) {
            m_err << "Could not create the meeting: " << store.lastError() << Qt::endl;
            return Cli::Failure;
        }
        meetingId = meeting.id;
    }
    session.startRecording(&store, meetingId);
    if (!session.isRecording()) {
        if (meetingId)
            store.removeMeeting(*meetingId); // nothing was recorded into it
        m_err << (session.error().isEmpty() ? QStringLiteral("Recording could not start.") : session.error()) << Qt::endl;
        return Cli::Failure;
    }
    m_follower = new SessionFollower(session, store, m_services.archiver(), m_out, m_err, this);
    connect(m_follower, &SessionFollower::finished, this, &RecordCommand::finished);
    m_follower->follow(*session.meetingID());

    // Ctrl-C stops as the stop button does; a second one leaves at once, and the next start
    // repairs what was left, as after a crash.
    auto *interrupts = new InterruptWatcher(this);
    connect(interrupts, &InterruptWatcher::interrupted, this, [this](int count) {
        if (count == 1) {
            m_err << "Stopping; waiting for the last lines (Ctrl-C again to leave at once)..." << Qt::endl;
            stop();
        } else {
            Q_EMIT finished(Cli::Failure);
        }
    });
    return Cli::Pending;
}

void RecordCommand::stop()
{
    if (m_session && m_session->isRecording())
        m_session->stopRecording();
}

int RecordCommand::record(const QStringList &args)
{
    const Options options = parse(args, {QStringLiteral("--seconds"), QStringLiteral("--title")});
    if (!options.error.isEmpty() || !options.positional.isEmpty()) {
        m_err << (options.error.isEmpty() ? QStringLiteral("record takes no other arguments.") : options.error) << Qt::endl << Cli::usage();
        return Cli::Usage;
    }
    const int started = begin(m_services.session(), options.title);
    if (started == Cli::Pending && options.seconds > 0)
        QTimer::singleShot(std::chrono::seconds(options.seconds), this, &RecordCommand::stop);
    return started;
}

int RecordCommand::transcribe(const QStringList &args)
{
    const Options options = parse(args, {QStringLiteral("--speaker"), QStringLiteral("--title")});
    if (!options.error.isEmpty() || options.positional.size() != 1) {
        m_err << (options.error.isEmpty() ? QStringLiteral("transcribe takes one sound file.") : options.error) << Qt::endl << Cli::usage();
        return Cli::Usage;
    }
    AudioFileReader::Result audio = AudioFileReader::read(options.positional.first());
    if (!audio.error.isEmpty()) {
        m_err << audio.error << Qt::endl;
        return Cli::Failure;
    }

    // The file plays as one stream; when it has all been handed on, the recording stops as a
    // live one does, waiting for the last uploads.
    const double fileSeconds = double(audio.samples.size()) / AudioFileReader::targetRate;
    m_file = std::make_unique<FileParts>();
    const QPointer<RecordCommand> self(this);
    m_file->file = std::make_unique<BufferRecorder>(std::move(audio.samples), [self] {
        postToMainThread([self] {
            if (self)
                self->stop();
        });
    });
    const bool asThem = options.speaker == QLatin1String("them");
    AudioRecorder *mic = asThem ? static_cast<AudioRecorder *>(&m_file->silent) : m_file->file.get();
    AudioRecorder *system = asThem ? static_cast<AudioRecorder *>(m_file->file.get()) : &m_file->absent;
    m_file->mixer = std::make_unique<DualStreamMixer>(mic, system);
    m_file->session = std::make_unique<TranscriptionSession>(m_services.sessionDependencies(*m_file->mixer, m_file->permission));
    // The file was played faster than it lasts: its length, not the time taken, is the
    // meeting's duration. Corrected before the notes, which write the archive again.
    connect(m_file->session.get(), &TranscriptionSession::recordingFinalized, this, [this, fileSeconds](const QUuid &id, bool deleted) {
        if (deleted)
            return;
        m_services.store().update(id, [&](Meeting &m) { m.duration = fileSeconds; });
        m_services.archiver().archive(id);
    });
    return begin(*m_file->session, options.title);
}
