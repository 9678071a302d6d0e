#include "Cli.h"

#include "AccountService.h"
#include "AppServices.h"
#include "AppState.h"
#include "CalendarCommand.h"
#include "Keychain.h"
#include "MeetingArchiver.h"
#include "MeetingJson.h"
#include "NotesCommand.h"
#include "RecordCommand.h"
#include "MeetingSearch.h"
#include "OndelStore.h"
#include "Settings.h"
#include "SpoolReplay.h"
#include "Uuid.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

// "[mm:ss]", minutes running on past the hour.
QString clockText(double seconds)
{
    const qint64 whole = qint64(std::max(0.0, seconds));
    return QStringLiteral("[%1:%2]").arg(whole / 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString durationText(double seconds)
{
    const qint64 whole = qint64(std::max(0.0, seconds));
    if (whole >= 3600)
        return QStringLiteral("%1:%2:%3").arg(whole / 3600).arg(whole / 60 % 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString titleText(const Meeting &m)
{
    return m.title.isEmpty() ? QStringLiteral("Untitled") : m.title;
}

QString jsonText(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isBool())
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (value.isDouble())
        return QString::number(value.toDouble());
    if (value.isUndefined() || value.isNull())
        return QStringLiteral("(not set)");
    const QJsonDocument doc = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return QString::fromUtf8(doc.toJson(QJsonDocument::Compact));
}

} // namespace

Cli::Cli(AppServices &services, QTextStream &out, QTextStream &err, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_store(services.store())
    , m_settings(services.settings())
    , m_out(out)
    , m_err(err)
{
}

Cli::~Cli() = default;

void Cli::startUp(bool retrySpool)
{
    if (m_startedUp)
        return;
    m_startedUp = true;
    m_services.startUp(AppServices::Recovery::Wait, retrySpool);
}

void Cli::finish(int exitCode)
{
    SpoolReplay &replay = m_services.spoolReplay();
    if (exitCode != Success || replay.isIdle()) {
        Q_EMIT finished(exitCode);
        return;
    }
    connect(&replay, &SpoolReplay::idle, this, [this, exitCode] { Q_EMIT finished(exitCode); }, Qt::SingleShotConnection);
}

QString Cli::usage()
{
    return QStringLiteral(
        "Usage: ondel-cli COMMAND [ARGUMENTS]\n"
        "  record [--seconds N] [--title TEXT]      record the microphone and system audio\n"
        "  transcribe FILE [--speaker me|them] [--title TEXT]\n"
        "  meetings [--json]                        list the meetings, newest first\n"
        "  show ID [--json]                         a meeting with its lines, notes and chat\n"
        "  search TEXT [--json]                     meetings whose title, notes or lines hold TEXT\n"
        "  delete ID                                delete a meeting\n"
        "  notes ID                                 write (again) a meeting's title and notes\n"
        "  ask ID QUESTION                          ask about a meeting; the answer streams out\n"
        "  config get KEY | set KEY VALUE | list    the settings\n"
        "  key set | key clear                      your own Vrel key (read from standard input)\n")
        + CalendarCommand::usage();
}

int Cli::fail(const QString &message)
{
    m_err << message.simplified() << Qt::endl;
    return Failure;
}

int Cli::usageError(const QString &message)
{
    m_err << message << Qt::endl << usage();
    m_err.flush();
    return Usage;
}

std::optional<QUuid> Cli::findMeeting(const QString &idText)
{
    const QUuid exact = QUuid::fromString(idText.trimmed());
    if (!exact.isNull())
        return m_store.meeting(exact) ? std::optional<QUuid>(exact) : std::nullopt;
    const QString prefix = idText.trimmed().toUpper();
    if (prefix.size() < 4)
        return std::nullopt;
    std::optional<QUuid> found;
    for (const Meeting &m : m_store.meetings()) {
        if (uuidText(m.id).startsWith(prefix)) {
            if (found)
                return std::nullopt; // ambiguous
            found = m.id;
        }
    }
    return found;
}

int Cli::run(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return usageError(QStringLiteral("No command given."));
    const QString command = arguments.first();
    const QStringList args = arguments.mid(1);
    if (command == QLatin1String("config"))
        return config(args);
    if (command == QLatin1String("key"))
        return key(args);
    if (command == QLatin1String("calendars") || command == QLatin1String("events")) {
        m_calendar = new CalendarCommand(m_services.calendar(), m_out, m_err, this);
        connect(m_calendar, &CalendarCommand::finished, this, &Cli::finished);
        return command == QLatin1String("calendars") ? m_calendar->calendars(args) : m_calendar->events(args);
    }
    if (command == QLatin1String("help") || command == QLatin1String("--help") || command == QLatin1String("-h")) {
        m_out << usage();
        return Success;
    }
    static const QStringList meetingCommands = {QStringLiteral("meetings"), QStringLiteral("show"), QStringLiteral("search"),
                                                QStringLiteral("delete"), QStringLiteral("record"), QStringLiteral("transcribe"),
                                                QStringLiteral("notes"), QStringLiteral("ask")};
    if (!meetingCommands.contains(command))
        return usageError(QStringLiteral("Unknown command \"%1\".").arg(command));
    // Only a command that goes on in the event loop gives the spool its try: the others end at
    // once, and should not wait on the keyring or the network for it.
    static const QStringList longCommands = {QStringLiteral("record"), QStringLiteral("transcribe"), QStringLiteral("notes"),
                                             QStringLiteral("ask")};
    startUp(longCommands.contains(command));
    auto lookup = [this](const QString &idText) { return findMeeting(idText); };
    if (command == QLatin1String("record") || command == QLatin1String("transcribe")) {
        m_record = new RecordCommand(m_services, m_out, m_err, this);
        connect(m_record, &RecordCommand::finished, this, &Cli::finish);
        return command == QLatin1String("record") ? m_record->record(args) : m_record->transcribe(args);
    }
    if (command == QLatin1String("notes") || command == QLatin1String("ask")) {
        m_notes = new NotesCommand(m_services, lookup, m_out, m_err, this);
        connect(m_notes, &NotesCommand::finished, this, &Cli::finish);
        return command == QLatin1String("notes") ? m_notes->notes(args) : m_notes->ask(args);
    }
    if (command == QLatin1String("meetings"))
        return meetings(args);
    if (command == QLatin1String("show"))
        return show(args);
    if (command == QLatin1String("search"))
        return search(args);
    return remove(args);
}

int Cli::meetings(const QStringList &args)
{
    const bool json = args.contains(QStringLiteral("--json"));
    if (args.size() != (json ? 1 : 0))
        return usageError(QStringLiteral("meetings takes no arguments but --json."));
    const QList<Meeting> list = m_store.meetings();
    if (json) {
        QJsonArray array;
        for (const Meeting &m : list)
            array.append(MeetingJson::summary(m, m_store));
        m_out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return Success;
    }
    for (const Meeting &m : list) {
        m_out << uuidText(m.id) << "  " << m.date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")) << "  "
              << durationText(m.duration).rightJustified(7) << "  " << titleText(m) << (m.isRecording ? QStringLiteral("  (recording)") : QString())
              << '\n';
    }
    return Success;
}

int Cli::show(const QStringList &args)
{
    const bool json = args.contains(QStringLiteral("--json"));
    QStringList rest = args;
    rest.removeAll(QStringLiteral("--json"));
    if (rest.size() != 1)
        return usageError(QStringLiteral("show takes one meeting id."));
    const std::optional<QUuid> id = findMeeting(rest.first());
    if (!id)
        return fail(QStringLiteral("No meeting with the id \"%1\".").arg(rest.first()));
    const Meeting m = *m_store.meeting(*id);
    if (json) {
        m_out << QJsonDocument(MeetingJson::full(m, m_store)).toJson(QJsonDocument::Indented);
        return Success;
    }
    m_out << titleText(m) << '\n'
          << m.date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")) << "  " << durationText(m.duration) << "  " << uuidText(m.id)
          << '\n';
    if (m.summary)
        m_out << '\n' << *m.summary << '\n';
    if (m.hasUserNotes())
        m_out << "\nMy notes\n" << m.userNotes.trimmed() << '\n';
    const QList<TranscriptSegment> lines = m_store.segments(m.id);
    if (!lines.isEmpty()) {
        m_out << "\nTranscript\n";
        for (const TranscriptSegment &s : lines)
            m_out << clockText(s.timestamp) << ' ' << s.speaker().rawValue() << ": " << s.text << '\n';
    }
    const QList<ChatMessage> chat = m_store.chatMessages(m.id);
    if (!chat.isEmpty()) {
        m_out << "\nChat\n";
        for (const ChatMessage &c : chat)
            m_out << (c.roleRaw == QLatin1String("assistant") ? "Ondel: " : "You: ") << c.text << '\n';
    }
    return Success;
}

int Cli::search(const QStringList &args)
{
    const bool json = args.contains(QStringLiteral("--json"));
    QStringList rest = args;
    rest.removeAll(QStringLiteral("--json"));
    if (rest.size() != 1)
        return usageError(QStringLiteral("search takes one text (quote it if it has spaces)."));
    const QList<Meeting> found = MeetingSearch::filter(m_store, rest.first());
    if (json) {
        QJsonArray array;
        for (const Meeting &m : found)
            array.append(MeetingJson::summary(m, m_store));
        m_out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return Success;
    }
    for (const Meeting &m : found)
        m_out << uuidText(m.id) << "  " << m.date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")) << "  " << titleText(m) << '\n';
    return Success;
}

int Cli::remove(const QStringList &args)
{
    if (args.size() != 1)
        return usageError(QStringLiteral("delete takes one meeting id."));
    const std::optional<QUuid> id = findMeeting(args.first());
    if (!id)
        return fail(QStringLiteral("No meeting with the id \"%1\".").arg(args.first()));
    // Its archive file goes with it.
    if (!m_services.appState().deleteMeeting(m_store, *id))
        return fail(QStringLiteral("Could not delete the meeting: %1").arg(m_store.lastError()));
    m_services.archiver().waitForIdle();
    return Success;
}

int Cli::config(const QStringList &args)
{
    const QString sub = args.value(0);
    if (sub == QLatin1String("list") && args.size() == 1) {
        for (const Settings::KeyInfo &key : Settings::keys())
            m_out << key.name << " (" << key.type << ") = " << jsonText(m_settings.value(key.name)) << '\n';
        return Success;
    }
    if (sub == QLatin1String("get") && args.size() == 2) {
        const auto &keys = Settings::keys();
        const bool known = std::any_of(keys.begin(), keys.end(), [&](const Settings::KeyInfo &k) { return k.name == args.at(1); });
        if (!known)
            return fail(QStringLiteral("Unknown setting \"%1\"").arg(args.at(1)));
        m_out << jsonText(m_settings.value(args.at(1))) << '\n';
        return Success;
    }
    if (sub == QLatin1String("set") && args.size() == 3) {
        QString error;
        if (!m_settings.setFromText(args.at(1), args.at(2), &error))
            return fail(error);
        return Success;
    }
    return usageError(QStringLiteral("config takes: get KEY, set KEY VALUE, or list."));
}

int Cli::key(const QStringList &args)
{
    const QString sub = args.value(0);
    if (args.size() != 1 || (sub != QLatin1String("set") && sub != QLatin1String("clear")))
        return usageError(QStringLiteral("key takes: set (the key on standard input) or clear."));
    AccountService &account = m_services.account();
    if (sub == QLatin1String("clear")) {
        account.setByoKey(QString());
        if (Keychain::string(QString::fromLatin1(AccountService::byoKeyAccount)))
            return fail(QStringLiteral("The key could not be removed from the keyring or its file."));
        return Success;
    }
    // From standard input only: a key on the command line would be visible to other users.
    QTextStream in(stdin);
    const QString typed = in.readAll().trimmed();
    if (typed.isEmpty())
        return fail(QStringLiteral("No key on standard input; try: ondel-cli key set < keyfile"));
    account.setByoKey(typed);
    if (Keychain::string(QString::fromLatin1(AccountService::byoKeyAccount)) != typed)
        return fail(QStringLiteral("The key could not be stored in the keyring, nor in the file kept where none is reachable."));
    return Success;
}
