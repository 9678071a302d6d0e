#include "MainContent.h"

#include "AppServices.h"
#include "AppShell.h"
#include "AppState.h"
#include "Clock.h"
#include "OndelStore.h"
#include "Uuid.h"

#include <QDesktopServices>

using namespace std::chrono_literals;

MainContent::MainContent(QObject *parent)
    : MainContent(*AppShell::current(), parent)
{
}

MainContent::MainContent(AppShell &shell, QObject *parent)
    : QObject(parent)
    , m_shell(shell)
{
    TranscriptionSession *session = shell.session();
    connect(session, &TranscriptionSession::isRecordingChanged, this, &MainContent::onRecordingChanged);
    m_recordingBarVisible = recordingBarVisible();
}

MainContent::Page MainContent::page() const
{
    return m_selection ? m_selection->page : Page::Home;
}

QString MainContent::selectedId() const
{
    return m_selection && m_selection->id ? uuidText(*m_selection->id) : QString();
}

bool MainContent::recordingBarVisible() const
{
    return page() != Page::Settings || m_shell.session()->isRecording();
}

QString MainContent::confirmationTitle() const
{
    if (m_pendingRecord) {
        QString title = QStringLiteral("current meeting");
        if (const std::optional<QUuid> current = currentRecordingMeeting()) {
            if (const std::optional<Meeting> meeting = m_shell.store().meeting(*current))
                title = meeting->title;
        }
        return QStringLiteral("Stop recording \u201C%1\u201D and start a new one?").arg(title);
    }
    if (m_confirmQuickNote)
        return QStringLiteral("Stop the current recording and start a new note?");
    return QString();
}

void MainContent::select(std::optional<Selection> selection)
{
    if (selection == m_selection)
        return;
    m_selection = selection;
    Q_EMIT selectionChanged();
    const bool visible = recordingBarVisible();
    if (visible != m_recordingBarVisible) {
        m_recordingBarVisible = visible;
        Q_EMIT recordingBarVisibleChanged();
    }
}

void MainContent::showHome() { select(Selection{Page::Home, std::nullopt}); }
void MainContent::showSettings() { select(Selection{Page::Settings, std::nullopt}); }

void MainContent::openMeeting(const QString &meetingId)
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    if (id && m_shell.store().meeting(*id))
        select(Selection{Page::Meeting, id});
}

void MainContent::openFolder(const QString &folderId)
{
    const std::optional<QUuid> id = parseUuid(folderId);
    if (id && m_shell.store().folder(*id))
        select(Selection{Page::Folder, id});
}

std::optional<QUuid> MainContent::currentRecordingMeeting() const
{
    MeetingQuery query;
    query.isRecording = true;
    query.limit = 1;
    const QList<Meeting> recording = m_shell.store().meetings(query);
    if (recording.isEmpty())
        return std::nullopt;
    return recording.constFirst().id;
}

QString MainContent::currentRecordingMeetingId() const
{
    const std::optional<QUuid> id = currentRecordingMeeting();
    return id ? uuidText(*id) : QString();
}

void MainContent::onRecordingChanged()
{
    // A recording started from the tray or by the scheduler brings its meeting up too.
    if (m_shell.session()->isRecording()) {
        if (const std::optional<QUuid> current = currentRecordingMeeting())
            select(Selection{Page::Meeting, current});
    }
    const bool visible = recordingBarVisible();
    if (visible != m_recordingBarVisible) {
        m_recordingBarVisible = visible;
        Q_EMIT recordingBarVisibleChanged();
    }
}

void MainContent::startAdHocRecording()
{
    m_shell.session()->startRecording(&m_shell.store());
    // The session makes its meeting a moment after the start.
    m_shell.clock().schedule(300ms, this, [this] {
        if (const std::optional<QUuid> current = currentRecordingMeeting())
            select(Selection{Page::Meeting, current});
    });
}

void MainContent::startInto(const QUuid &meetingId)
{
    m_shell.session()->startRecording(&m_shell.store(), meetingId);
}

void MainContent::quickNote()
{
    if (m_shell.session()->isRecording()) {
        m_confirmQuickNote = true;
        Q_EMIT confirmationChanged();
        return;
    }
    startAdHocRecording();
}

void MainContent::startRecording(const QString &meetingId)
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    if (!id) {
        startAdHocRecording();
        return;
    }
    if (!m_shell.session()->isRecording()) {
        startInto(*id);
        return;
    }
    if (currentRecordingMeeting() == id)
        return;
    m_pendingRecord = PendingRecord{*id, std::nullopt};
    Q_EMIT confirmationChanged();
}

void MainContent::startEventCapture(const QUuid &meetingId, const std::optional<QUrl> &conferenceUrl)
{
    // The recording first, so that the opening of the call is not lost.
    startInto(meetingId);
    if (conferenceUrl && conferenceUrl->isValid())
        QDesktopServices::openUrl(*conferenceUrl);
}

void MainContent::stopForNewRecording()
{
    m_shell.session()->stopRecording();
    m_shell.services().appState().refreshRecentMeetings(m_shell.store());
}

void MainContent::confirmStopAndStart()
{
    if (m_pendingRecord) {
        const PendingRecord pending = *std::exchange(m_pendingRecord, std::nullopt);
        Q_EMIT confirmationChanged();
        stopForNewRecording();
        startEventCapture(pending.meetingId, pending.conferenceUrl);
    } else if (m_confirmQuickNote) {
        m_confirmQuickNote = false;
        Q_EMIT confirmationChanged();
        stopForNewRecording();
        startAdHocRecording();
    }
}

void MainContent::cancelConfirmation()
{
    if (!confirming())
        return;
    m_pendingRecord.reset();
    m_confirmQuickNote = false;
    Q_EMIT confirmationChanged();
}

void MainContent::deleteMeeting(const QString &meetingId)
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    if (!id)
        return;
    if (m_selection && m_selection->page == Page::Meeting && m_selection->id == id)
        showHome();
    // Its archive file goes first; a failed delete is dropped without a word.
    m_shell.services().appState().deleteMeeting(m_shell.store(), *id);
}

void MainContent::deleteFolder(const QString &folderId)
{
    const std::optional<QUuid> id = parseUuid(folderId);
    if (!id)
        return;
    if (m_selection && m_selection->page == Page::Folder && m_selection->id == id)
        showHome();
    m_shell.store().removeFolder(*id);
}
