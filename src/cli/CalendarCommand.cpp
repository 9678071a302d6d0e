#include "CalendarCommand.h"

#include "CalendarService.h"
#include "Cli.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using ondel::CalendarInfo;
using ondel::CalendarService;
using ondel::EventInfo;
using Authorization = CalendarService::Authorization;

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kUsage = 2;
constexpr int kPending = -1;

QString isoUtc(const QDateTime &time)
{
    return time.toUTC().toString(Qt::ISODate);
}

QJsonValue optionalText(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

QJsonObject eventJson(const EventInfo &event, bool skipped)
{
    return QJsonObject{
        {QStringLiteral("id"), event.id},
        {QStringLiteral("title"), event.title},
        {QStringLiteral("startDate"), isoUtc(event.startDate)},
        {QStringLiteral("endDate"), isoUtc(event.endDate)},
        {QStringLiteral("attendees"), QJsonArray::fromStringList(event.attendees)},
        {QStringLiteral("organizer"), optionalText(event.organizer)},
        {QStringLiteral("calendarId"), event.calendarId},
        {QStringLiteral("calendarName"), event.calendarName},
        {QStringLiteral("calendarColor"), event.calendarColor.name()},
        {QStringLiteral("conferenceURL"), event.conferenceURL ? QJsonValue(event.conferenceURL->toString()) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("participantCount"), event.participantCount},
        {QStringLiteral("location"), optionalText(event.location)},
        {QStringLiteral("kind"), ondel::rawValue(event.kind)},
        {QStringLiteral("highConfidence"), event.highConfidence},
        {QStringLiteral("skipped"), skipped},
    };
}

// The state's own words, as the calendar settings say them on this platform.
QString unreadableText(Authorization authorization)
{
    if (authorization == Authorization::notRequested)
        return QStringLiteral("Calendars are not connected yet; run: ondel-cli calendars connect");
    return QStringLiteral("No calendar service answers on this computer. Install Evolution Data Server "
                          "(evolution-data-server) and add your accounts in the desktop's Online Accounts settings.");
}

}  // namespace

CalendarCommand::CalendarCommand(CalendarService &service, QTextStream &out, QTextStream &err, QObject *parent)
    : QObject(parent)
    , m_service(service)
    , m_out(out)
    , m_err(err)
{
}

QString CalendarCommand::usage()
{
    return QStringLiteral(
        "  calendars [--json]                       the desktop's calendars\n"
        "  calendars connect                        let Ondel read the desktop's calendars\n"
        "  calendars add URL|FILE | remove ID       a calendar link (https, webcal) or .ics file\n"
        "  calendars show ID | hide ID | reset      which calendars' events are listed\n"
        "  calendars always-record ID on|off        record every entry of a calendar\n"
        "  events [--json]                          this week's events, then the skipped ones\n");
}

int CalendarCommand::fail(const QString &message)
{
    m_err << message << Qt::endl;
    return kFailure;
}

int CalendarCommand::usageError(const QString &message)
{
    m_err << message << Qt::endl << Cli::usage();
    m_err.flush();
    return kUsage;
}

void CalendarCommand::afterResync(std::function<int()> then)
{
    // Always from the event loop, so that finished() never comes before run() returned.
    m_service.whenIdle(this, [this, then] {
        QMetaObject::invokeMethod(
            this,
            [this, then] {
                const int code = then();
                m_out.flush();
                m_err.flush();
                if (code != kPending)
                    Q_EMIT finished(code);
            },
            Qt::QueuedConnection);
    });
}

void CalendarCommand::whenReadable(std::function<int()> then)
{
    afterResync([this, then] {
        const Authorization authorization = m_service.authorization();
        if (authorization == Authorization::notRequested || authorization == Authorization::denied)
            return fail(unreadableText(authorization));
        return then();
    });
}

bool CalendarCommand::knownCalendar(const QString &id)
{
    for (const CalendarInfo &calendar : m_service.calendars()) {
        if (calendar.id == id)
            return true;
    }
    fail(QStringLiteral("No calendar with the id \"%1\".").arg(id));
    return false;
}

int CalendarCommand::calendars(const QStringList &args)
{
    const QString sub = args.value(0);
    if (args.isEmpty() || (args.size() == 1 && sub == QLatin1String("--json"))) {
        const bool json = !args.isEmpty();
        whenReadable([this, json] { return listCalendars(json); });
        return kPending;
    }
    if (sub == QLatin1String("connect") && args.size() == 1) {
        m_service.requestAccess();
        afterResync([this] {
            switch (m_service.authorization()) {
            case Authorization::granted:
                m_out << "Connected: " << m_service.calendars().size() << " calendars." << Qt::endl;
                return kSuccess;
            case Authorization::noAccounts:
                m_out << "Connected. No calendar accounts on this computer — add one in the desktop's Online Accounts "
                         "settings, or a calendar link with: ondel-cli calendars add URL"
                      << Qt::endl;
                return kSuccess;
            case Authorization::notRequested:
            case Authorization::denied:
                break;
            }
            return fail(unreadableText(m_service.authorization()));
        });
        return kPending;
    }
    if (sub == QLatin1String("reset") && args.size() == 1) {
        whenReadable([this] {
            m_service.resetVisibility();
            afterResync([] { return kSuccess; });
            return kPending;
        });
        return kPending;
    }
    if (sub == QLatin1String("add") && args.size() == 2) {
        const QString target = args.at(1);
        whenReadable([this, target] {
            m_service.addCalendar(target, [this](const QString &error) {
                afterResync([this, error] { return error.isEmpty() ? kSuccess : fail(error); });
            });
            return kPending;
        });
        return kPending;
    }
    const bool takesId = sub == QLatin1String("remove") || sub == QLatin1String("show") || sub == QLatin1String("hide");
    if (takesId && args.size() == 2) {
        const QString id = args.at(1);
        whenReadable([this, sub, id] {
            if (!knownCalendar(id))
                return kFailure;
            if (sub == QLatin1String("remove")) {
                m_service.removeCalendar(id, [this](const QString &error) {
                    afterResync([this, error] { return error.isEmpty() ? kSuccess : fail(error); });
                });
                return kPending;
            }
            m_service.setVisible(sub == QLatin1String("show"), id);
            afterResync([] { return kSuccess; });
            return kPending;
        });
        return kPending;
    }
    if (sub == QLatin1String("always-record") && args.size() == 3
        && (args.at(2) == QLatin1String("on") || args.at(2) == QLatin1String("off"))) {
        const QString id = args.at(1);
        const bool on = args.at(2) == QLatin1String("on");
        whenReadable([this, id, on] {
            if (!knownCalendar(id))
                return kFailure;
            m_service.setAlwaysRecord(on, id);
            afterResync([] { return kSuccess; });
            return kPending;
        });
        return kPending;
    }
    return usageError(QStringLiteral("calendars takes: --json, connect, add URL|FILE, remove ID, show ID, hide ID, "
                                     "always-record ID on|off, or reset."));
}

int CalendarCommand::events(const QStringList &args)
{
    const bool json = args.contains(QStringLiteral("--json"));
    if (args.size() != (json ? 1 : 0))
        return usageError(QStringLiteral("events takes no arguments but --json."));
    whenReadable([this, json] { return listEvents(json); });
    return kPending;
}

int CalendarCommand::listCalendars(bool json)
{
    if (json) {
        QJsonArray array;
        for (const CalendarInfo &calendar : m_service.calendars()) {
            array.append(QJsonObject{
                {QStringLiteral("id"), calendar.id},
                {QStringLiteral("title"), calendar.title},
                {QStringLiteral("source"), calendar.sourceTitle},
                {QStringLiteral("color"), calendar.color.name()},
                {QStringLiteral("visible"), m_service.isVisible(calendar.id)},
                {QStringLiteral("alwaysRecord"), m_service.isAlwaysRecord(calendar.id)},
                {QStringLiteral("addedByOndel"), calendar.addedByOndel},
            });
        }
        m_out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return kSuccess;
    }
    for (const CalendarInfo &calendar : m_service.calendars()) {
        m_out << calendar.id << "  " << calendar.title << "  (" << calendar.sourceTitle << ")  " << calendar.color.name() << "  "
              << (m_service.isVisible(calendar.id) ? "shown" : "hidden")
              << (m_service.isAlwaysRecord(calendar.id) ? "  always record" : "") << '\n';
    }
    return kSuccess;
}

int CalendarCommand::listEvents(bool json)
{
    if (json) {
        QJsonArray array;
        for (const EventInfo &event : m_service.events())
            array.append(eventJson(event, false));
        for (const EventInfo &event : m_service.skippedEvents())
            array.append(eventJson(event, true));
        m_out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return kSuccess;
    }
    auto print = [this](const EventInfo &event, bool skipped) {
        m_out << isoUtc(event.startDate) << "  " << isoUtc(event.endDate) << "  "
              << (skipped ? QStringLiteral("(skipped)") : ondel::rawValue(event.kind)) << "  "
              << (event.highConfidence ? "high" : "low") << "  " << event.title << '\n'
              << "    id " << event.id << "  calendar " << event.calendarName << " (" << event.calendarId << ", "
              << event.calendarColor.name() << ")\n"
              << "    " << event.participantCount << " participants: " << event.attendees.join(QStringLiteral(", ")) << '\n';
        if (event.organizer)
            m_out << "    organizer " << *event.organizer << '\n';
        if (event.conferenceURL)
            m_out << "    link " << event.conferenceURL->toString() << '\n';
        if (event.location)
            m_out << "    location " << *event.location << '\n';
    };
    for (const EventInfo &event : m_service.events())
        print(event, false);
    for (const EventInfo &event : m_service.skippedEvents())
        print(event, true);
    return kSuccess;
}
