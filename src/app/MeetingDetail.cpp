#include "MeetingDetail.h"

#include "AppServices.h"
#include "AppShell.h"
#include "MeetingArchiver.h"
#include "MeetingChatService.h"
#include "MeetingText.h"
#include "NotesRegenerator.h"
#include "OndelStore.h"
#include "Settings.h"
#include "SpoolReplay.h"
#include "UtteranceSpool.h"
#include "Uuid.h"

#include <QClipboard>
#include <QGuiApplication>


namespace {

void putOnClipboard(const QString &text)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(text);
}

} // namespace

MeetingDetail::MeetingDetail(QObject *parent)
    : MeetingDetail(*AppShell::current(), parent)
{
}

MeetingDetail::MeetingDetail(AppShell &shell, QObject *parent)
    : QObject(parent)
    , m_shell(shell)
{
    AppServices &services = shell.services();
    m_chat = makeChat();
    OndelStore &store = services.store();
    connect(&store, &OndelStore::meetingChanged, this, [this](const QUuid &id) {
        if (id == m_id)
            reload();
    });
    connect(&store, &OndelStore::meetingRemoved, this, [this](const QUuid &id) {
        if (id == m_id)
            reload();
    });
    connect(&store, &OndelStore::segmentAdded, this, [this](const TranscriptSegment &segment) {
        if (segment.meetingId != m_id || m_hasSegments)
            return;
        m_hasSegments = true;
        Q_EMIT changed();
        updateNotesArea();
    });
    connect(&store, &OndelStore::segmentRemoved, this, [this](const QUuid &meetingId, const QUuid &) {
        if (meetingId == m_id)
            reload();
    });
    TranscriptionSession &session = services.session();
    connect(&session, &TranscriptionSession::isGeneratingSummaryChanged, this, &MeetingDetail::updateNotesArea);
    connect(&session, &TranscriptionSession::generatingSummaryMeetingIDChanged, this, &MeetingDetail::updateNotesArea);
    connect(&services.account(), &AccountService::byoKeyChanged, this, &MeetingDetail::regenerationChanged);
    connect(&services.account(), &AccountService::signedInChanged, this, &MeetingDetail::regenerationChanged);
    connect(&services.account(), &AccountService::loadedChanged, this, &MeetingDetail::regenerationChanged);
    // The spool changes on the upload threads too; the count is taken again here.
    connect(&services.spool(), &UtteranceSpool::changed, this, [this](const QUuid &id) {
        if (id == m_id)
            recountSpool();
    });
    connect(&services.spoolReplay(), &SpoolReplay::stateChanged, this, &MeetingDetail::spoolChanged);
}

MeetingDetail::~MeetingDetail()
{
    flushArchive();
}

std::unique_ptr<MeetingChatService> MeetingDetail::makeChat() const
{
    AppServices &services = m_shell.services();
    return std::make_unique<MeetingChatService>(services.store(), services.settings(), services.credentials(),
                                                services.clock(), services.network());
}

QString MeetingDetail::meetingId() const
{
    return m_id ? uuidText(*m_id) : QString();
}

void MeetingDetail::setMeetingId(const QString &id)
{
    const std::optional<QUuid> parsed = parseUuid(id);
    if (parsed == m_id)
        return;
    flushArchive();
    const bool hadMeeting = m_id.has_value();
    m_id = parsed;
    if (hadMeeting) {
        // Nothing of the last meeting's screen shows over this one: not its answer, its
        // error, or its tab. Its chat goes once the bindings have let go of it.
        std::unique_ptr<MeetingChatService> last = std::exchange(m_chat, makeChat());
        last->cancel();
        Q_EMIT chatChanged();
        last.release()->deleteLater();
        setDetailMode(DetailMode::Enhanced);
    }
    setRegenerator(m_id ? m_shell.existingRegenerator(*m_id) : nullptr);
    Q_EMIT meetingIdChanged();
    reload();
}

void MeetingDetail::reload()
{
    OndelStore &store = m_shell.store();
    m_meeting = m_id ? store.meeting(*m_id) : std::nullopt;
    m_hasSegments = m_meeting && store.segmentCount(*m_id) > 0;
    Q_EMIT changed();
    updateNotesArea();
    recountSpool();
}

void MeetingDetail::recountSpool()
{
    const int count = m_id ? m_shell.services().spool().count(*m_id) : 0;
    if (count == m_spooledCount)
        return;
    m_spooledCount = count;
    Q_EMIT spoolChanged();
}

QString MeetingDetail::spooledText() const
{
    if (m_spooledCount == 1)
        return QStringLiteral("1 part couldn't be transcribed yet");
    return QStringLiteral("%1 parts couldn't be transcribed yet").arg(m_spooledCount);
}

bool MeetingDetail::isTranscribingAgain() const
{
    return m_id && m_shell.services().spoolReplay().isTranscribing(*m_id);
}

void MeetingDetail::transcribeAgain()
{
    if (m_id && m_spooledCount > 0 && !isRecording())
        m_shell.services().spoolReplay().transcribe(*m_id);
}

QString MeetingDetail::metaText() const
{
    if (!m_meeting)
        return {};
    QStringList parts{MeetingText::dateAndTime(m_meeting->date)};
    if (m_meeting->duration > 0)
        parts << MeetingText::cardDuration(m_meeting->duration);
    const std::optional<QDateTime> &start = m_meeting->scheduledStart;
    if (start && *start > m_shell.clock().now() && !m_meeting->isRecording && m_meeting->autoStartEnabled)
        parts << QStringLiteral("Auto-start at ") + MeetingText::timeOfDay(*start);
    return parts.join(QStringLiteral("  ·  "));
}

MeetingDetail::NotesArea MeetingDetail::notesArea() const
{
    return m_notesArea;
}

void MeetingDetail::updateNotesArea()
{
    NotesArea area = NotesArea::Empty;
    const TranscriptionSession &session = *m_shell.session();
    const bool sessionGenerating = m_id && session.isGeneratingSummary() && session.generatingSummaryMeetingID() == m_id;
    if (!summaryIsEmpty())
        area = NotesArea::Enhanced;
    else if (sessionGenerating || isRegenerating())
        area = NotesArea::Generating;
    else if (m_hasSegments || (m_meeting && m_meeting->hasUserNotes()))
        area = NotesArea::Unsummarized;
    if (area != m_notesArea) {
        m_notesArea = area;
        Q_EMIT notesAreaChanged();
    }
    Q_EMIT regenerationChanged(); // whether a generation runs decides the button too
}

QString MeetingDetail::generateLabel() const
{
    return m_meeting && m_meeting->hasUserNotes() ? QStringLiteral("Enhance with AI") : QStringLiteral("Generate summary");
}

void MeetingDetail::setTitleFocused(bool focused)
{
    if (focused == m_titleFocused)
        return;
    m_titleFocused = focused;
    Q_EMIT titleFocusedChanged();
}

void MeetingDetail::setDetailMode(DetailMode mode)
{
    if (mode == m_detailMode)
        return;
    m_detailMode = mode;
    Q_EMIT detailModeChanged();
}

void MeetingDetail::setTitle(const QString &title)
{
    if (!m_meeting || title == m_meeting->title)
        return;
    const bool byUser = m_titleFocused;
    edit([&](Meeting &meeting) {
        meeting.title = title;
        if (byUser)
            meeting.titleIsUserEdited = true;
    });
}

void MeetingDetail::setUserNotes(const QString &notes)
{
    if (!m_meeting || notes == m_meeting->userNotes)
        return;
    edit([&](Meeting &meeting) { meeting.userNotes = notes; });
}

void MeetingDetail::edit(const std::function<void(Meeting &)> &change)
{
    // A failed save is not the typist's problem: the text stays on screen and the next
    // keystroke tries again.
    m_shell.store().update(*m_id, change);
    scheduleArchive();
}

void MeetingDetail::scheduleArchive()
{
    cancelArchive();
    // The copy is taken when the write happens rather than at the keystroke: the store has
    // every keystroke by then, and a three-hour transcript is read once instead of per key.
    const QUuid id = *m_id;
    m_archiveDebounce = m_shell.clock().schedule(archiveDelay, this, [this, id] {
        m_archiveDebounce = 0;
        m_shell.services().archiver().archive(id);
    });
}

void MeetingDetail::flushArchive()
{
    // A pending write still happens when the screen moves on: its edit is already in the store.
    if (m_archiveDebounce && m_id) {
        cancelArchive();
        m_shell.services().archiver().archive(*m_id);
    }
}

void MeetingDetail::cancelArchive()
{
    if (m_archiveDebounce)
        m_shell.clock().cancel(m_archiveDebounce);
    m_archiveDebounce = 0;
}

void MeetingDetail::dismissLinkBanner()
{
    if (!m_meeting)
        return;
    m_shell.store().update(*m_id, [](Meeting &meeting) { meeting.linkBannerDismissed = true; });
}

void MeetingDetail::saveChat()
{
    if (m_id)
        m_shell.services().archiver().archive(*m_id);
}

void MeetingDetail::setRegenerator(NotesRegenerator *regenerator)
{
    if (m_regenerator)
        disconnect(m_regenerator, nullptr, this, nullptr);
    m_regenerator = regenerator;
    if (regenerator) {
        connect(regenerator, &NotesRegenerator::isRegeneratingChanged, this, &MeetingDetail::updateNotesArea);
        connect(regenerator, &NotesRegenerator::regenerateErrorChanged, this, &MeetingDetail::regenerationChanged);
    }
    Q_EMIT regenerationChanged();
}

bool MeetingDetail::isRegenerating() const
{
    return m_regenerator && m_regenerator->isRegenerating();
}

QString MeetingDetail::regenerateError() const
{
    return m_regenerator ? m_regenerator->regenerateError() : QString();
}

bool MeetingDetail::canRegenerate() const
{
    return m_meeting && m_hasSegments && m_notesArea != NotesArea::Generating && !isRegenerating();
}

QString MeetingDetail::regenerateHelp() const
{
    const CredentialsSource &credentials = m_shell.services().credentials();
    if (credentials.credentialsKnown() && !credentials.modelCredentials())
        return NotesRegenerator::noCredentialsText;
    return QStringLiteral("Regenerate title & summary");
}

void MeetingDetail::regenerate()
{
    if (!m_id)
        return;
    if (!m_regenerator)
        setRegenerator(m_shell.regenerator(*m_id));
    m_regenerator->regenerate(*m_id);
}

void MeetingDetail::copySummary()
{
    if (!summaryIsEmpty())
        putOnClipboard(summary());
}

void MeetingDetail::copyTranscript()
{
    if (!m_id)
        return;
    const QString transcript = Meeting::formattedTranscript(m_shell.store().segments(*m_id));
    if (!transcript.isEmpty())
        putOnClipboard(transcript);
}
