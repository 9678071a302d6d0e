#include "EdsCalendarStore.h"

#include "EdsSession.h"
#include "EdsThread.h"
#include "IcsFeed.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUuid>

namespace ondel {

namespace {

// A calendar's name stands in its first lines; what a link sends past this is not read.
constexpr qint64 kNameProbeBytes = 256 * 1024;
constexpr int kNameProbeMs = 10000;

}  // namespace

EdsCalendarStore::EdsCalendarStore(QObject *parent)
    : CalendarStore(parent)
    , m_thread(std::make_unique<EdsThread>())
{
    m_changes.setSingleShot(true);
    m_changes.setInterval(200);
    connect(&m_changes, &QTimer::timeout, this, &CalendarStore::changed);
    // The job may run while the destructor joins the thread, when m_thread is already empty.
    m_thread->post([this, cancellable = m_thread->cancellable()] {
        m_session = std::make_unique<EdsSession>(cancellable, [this] {
            QMetaObject::invokeMethod(this, [this] { noteChange(); }, Qt::QueuedConnection);
        });
    });
}

EdsCalendarStore::~EdsCalendarStore()
{
    m_thread->post([this] { m_session.reset(); });
    m_thread.reset();
}

void EdsCalendarStore::noteChange()
{
    if (!m_changes.isActive())
        m_changes.start();
}

void EdsCalendarStore::readCalendars(CalendarsDone done)
{
    m_thread->post([this, done = std::move(done)]() mutable {
        EdsSession::Calendars calendars = m_session->readCalendars();
        QMetaObject::invokeMethod(
            this, [done = std::move(done), calendars = std::move(calendars)] { done(calendars.availability, calendars.list); },
            Qt::QueuedConnection);
    });
}

void EdsCalendarStore::readEvents(const QDateTime &start, const QDateTime &end, const QStringList &calendarIds,
                                  EventsDone done)
{
    m_thread->post([this, start = start.toSecsSinceEpoch(), end = end.toSecsSinceEpoch(), calendarIds,
                    own = m_ownAddresses, done = std::move(done)]() mutable {
        QList<CalendarStoreEvent> events = m_session->readEvents(start, end, calendarIds, own);
        QMetaObject::invokeMethod(
            this, [done = std::move(done), events = std::move(events)]() mutable { done(std::move(events)); },
            Qt::QueuedConnection);
    });
}

void EdsCalendarStore::answer(SourceDone done, const QString &error)
{
    QMetaObject::invokeMethod(this, [done = std::move(done), error] { done(error); }, Qt::QueuedConnection);
}

void EdsCalendarStore::addCalendar(const QUrl &linkOrFile, SourceDone done)
{
    const IcsFeed::Target target = IcsFeed::check(linkOrFile);
    switch (target.kind) {
    case IcsFeed::Target::Kind::none:
        answer(std::move(done), target.error);
        return;
    case IcsFeed::Target::Kind::link:
        nameLink(target, std::move(done));
        return;
    case IcsFeed::Target::Kind::file:
        // Even a local file may sit on a slow mount: it is read on the worker.
        m_thread->post([this, target, done = std::move(done)]() mutable {
            const IcsFeed::FileCheck file = IcsFeed::readFile(target.path);
            QMetaObject::invokeMethod(
                this,
                [this, target, file, done = std::move(done)]() mutable {
                    if (!file.error.isEmpty())
                        answer(std::move(done), file.error);
                    else
                        addSource(target, file.name.isEmpty() ? IcsFeed::fallbackName(target) : file.name, std::move(done));
                },
                Qt::QueuedConnection);
        });
        return;
    }
}

// The link is asked once for its head, for the calendar's own name and to refuse what is no
// calendar; a link that does not answer now is still added, named after its host, since EDS
// fetches it again later.
void EdsCalendarStore::nameLink(const IcsFeed::Target &target, SourceDone done)
{
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    QNetworkRequest request(target.link);
    request.setTransferTimeout(kNameProbeMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply *reply = m_network->get(request);
    auto head = std::make_shared<QByteArray>();
    auto finish = [this, reply, head, target, done = std::move(done)]() mutable {
        if (!reply->property("finished").isNull())
            return;
        reply->setProperty("finished", true);
        reply->deleteLater();
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const bool answered = status > 0;
        if (answered && (status >= 400 || !IcsFeed::looksLikeICalendar(*head))) {
            answer(std::move(done), QStringLiteral("This link doesn't lead to a calendar (.ics)."));
            return;
        }
        const QString name = answered ? IcsFeed::calendarName(*head) : QString();
        addSource(target, name.isEmpty() ? IcsFeed::fallbackName(target) : name, std::move(done));
        reply->abort();
    };
    connect(reply, &QNetworkReply::readyRead, this, [reply, head, finish]() mutable {
        head->append(reply->read(kNameProbeBytes - head->size()));
        if (head->size() >= kNameProbeBytes || !IcsFeed::calendarName(*head).isEmpty())
            finish();
    });
    connect(reply, &QNetworkReply::finished, this, [reply, head, finish]() mutable {
        if (reply->error() == QNetworkReply::NoError)
            head->append(reply->read(kNameProbeBytes - head->size()));
        finish();
    });
}

void EdsCalendarStore::addSource(const IcsFeed::Target &target, const QString &name, SourceDone done)
{
    const QString uid = QLatin1String(ondelUidPrefix) + QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_thread->post([this, uid, name, target, done = std::move(done)]() mutable {
        answer(std::move(done), m_session->addSource(uid, name, target));
    });
}

void EdsCalendarStore::removeCalendar(const QString &calendarId, SourceDone done)
{
    if (!calendarId.startsWith(QLatin1String(ondelUidPrefix))) {
        answer(std::move(done), QStringLiteral("Only calendars added in Ondel can be removed here."));
        return;
    }
    m_thread->post([this, calendarId, done = std::move(done)]() mutable {
        answer(std::move(done), m_session->removeSource(calendarId));
    });
}

void EdsCalendarStore::setOwnAddresses(const QStringList &addresses)
{
    m_ownAddresses = addresses;
}

}  // namespace ondel
