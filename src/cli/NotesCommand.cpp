#include "NotesCommand.h"

#include "AppServices.h"
#include "Cli.h"
#include "MeetingArchiver.h"
#include "MeetingChatService.h"
#include "NotesRegenerator.h"
#include "OndelStore.h"
#include "Settings.h"

NotesCommand::NotesCommand(AppServices &services, MeetingLookup lookup, QTextStream &out, QTextStream &err, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_lookup(std::move(lookup))
    , m_out(out)
    , m_err(err)
{
}

NotesCommand::~NotesCommand() = default;

int NotesCommand::notes(const QStringList &args)
{
    if (args.size() != 1) {
        m_err << "notes takes one meeting id." << Qt::endl << Cli::usage();
        return Cli::Usage;
    }
    const std::optional<QUuid> id = m_lookup(args.first());
    if (!id) {
        m_err << QStringLiteral("No meeting with the id \"%1\".").arg(args.first()) << Qt::endl;
        return Cli::Failure;
    }
    m_regenerator = new NotesRegenerator(m_services.store(), m_services.credentials(), m_services.notes(), &m_services.archiver(), this);
    connect(m_regenerator, &NotesRegenerator::finished, this, [this](const QUuid &meetingId, bool succeeded) {
        if (!succeeded) {
            m_err << m_regenerator->regenerateError() << Qt::endl;
            Q_EMIT finished(Cli::Failure);
            return;
        }
        const std::optional<Meeting> meeting = m_services.store().meeting(meetingId);
        m_services.archiver().waitForIdle();
        if (meeting)
            m_out << (meeting->title.isEmpty() ? QStringLiteral("Untitled") : meeting->title) << "\n\n" << meeting->summary.value_or(QString()) << Qt::endl;
        Q_EMIT finished(Cli::Success);
    });
    if (!m_regenerator->regenerate(*id)) {
        const QString why = m_regenerator->regenerateError();
        m_err << (why.isEmpty() ? QStringLiteral("This meeting has no transcript to write notes from.") : why) << Qt::endl;
        return Cli::Failure;
    }
    return Cli::Pending;
}

int NotesCommand::ask(const QStringList &args)
{
    if (args.size() != 2) {
        m_err << "ask takes a meeting id and a question (quote it)." << Qt::endl << Cli::usage();
        return Cli::Usage;
    }
    const std::optional<QUuid> id = m_lookup(args.first());
    if (!id) {
        m_err << QStringLiteral("No meeting with the id \"%1\".").arg(args.first()) << Qt::endl;
        return Cli::Failure;
    }
    m_chat = new MeetingChatService(m_services.store(), m_services.settings(), m_services.credentials(), m_services.clock(),
                                    m_services.network(), this);
    connect(m_chat, &MeetingChatService::pieceReceived, this, [this](const QString &piece) { m_out << piece << Qt::flush; });
    connect(m_chat, &MeetingChatService::answerFinished, this, [this] {
        m_out << Qt::endl;
        if (!m_chat->error().isEmpty()) {
            m_err << m_chat->error() << Qt::endl;
            Q_EMIT finished(Cli::Failure);
            return;
        }
        Q_EMIT finished(Cli::Success);
    });
    if (!m_chat->ask(args.at(1), *id)) {
        m_err << m_chat->error() << Qt::endl;
        return Cli::Failure;
    }
    return Cli::Pending;
}
