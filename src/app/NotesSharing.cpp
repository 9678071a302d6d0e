#include "NotesSharing.h"

#include "AppServices.h"
#include "AppShell.h"
#include "OndelStore.h"
#include "Uuid.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>

NotesSharing::NotesSharing(QObject *parent)
    : NotesSharing(AppShell::current()->store(), AppShell::current()->services().publisher(), parent)
{
}

NotesSharing::NotesSharing(OndelStore &store, NotesPublisher &publisher, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_publisher(publisher)
{
}

QString NotesSharing::meetingId() const
{
    return m_id ? uuidText(*m_id) : QString();
}

void NotesSharing::setMeetingId(const QString &id)
{
    const std::optional<QUuid> parsed = parseUuid(id);
    if (parsed == m_id)
        return;
    m_id = parsed;
    // A share of the last meeting neither blocks this one's nor shows its answer here.
    ++m_request;
    m_isSharing = m_showConfirm = m_showError = false;
    m_url.reset();
    m_error.reset();
    Q_EMIT meetingIdChanged();
    Q_EMIT changed();
}

void NotesSharing::share()
{
    if (m_isSharing || !m_id)
        return;
    const std::optional<Meeting> meeting = m_store.meeting(*m_id);
    if (!meeting || !meeting->summary || meeting->summary->isEmpty())
        return;
    if (!m_publisher.canPublish()) {
        fail(signInText);
        return;
    }
    m_isSharing = true;
    Q_EMIT changed();
    m_publisher.publish({meeting->title, *meeting->summary, meeting->date, meeting->duration}, this,
                        [this, request = m_request](const NotesPublisher::Outcome &outcome) {
                            if (request != m_request)
                                return;
                            m_isSharing = false;
                            if (!outcome.url) {
                                fail(outcome.error);
                                return;
                            }
                            QClipboard *clipboard = QGuiApplication::clipboard();
                            clipboard->clear();
                            clipboard->setText(*outcome.url);
                            m_url = outcome.url;
                            m_showConfirm = true;
                            Q_EMIT changed();
                        });
}

void NotesSharing::fail(const QString &error)
{
    m_error = error;
    m_showError = true;
    Q_EMIT changed();
}

void NotesSharing::openLink()
{
    if (m_url)
        QDesktopServices::openUrl(QUrl(*m_url));
}

void NotesSharing::dismissConfirm()
{
    if (!m_showConfirm)
        return;
    m_showConfirm = false;
    Q_EMIT changed();
}

void NotesSharing::dismissError()
{
    if (!m_showError)
        return;
    m_showError = false;
    Q_EMIT changed();
}
