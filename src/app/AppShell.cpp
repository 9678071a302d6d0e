#include "AppShell.h"

#include "AppServices.h"
#include "Appearance.h"
#include "MeetingArchiver.h"
#include "MicrophonePermission.h"
#include "NotesRegenerator.h"
#include "Settings.h"
#include "pulse/MicRecorder.h"

#include <QCoreApplication>
#include <QPointer>
#include <QProcess>
#include <QQmlEngine>
#include <QStandardPaths>

#include <cstdlib>

namespace {
AppShell *g_current = nullptr;
}

AppShell::AppShell(AppServices &services, Appearance &appearance, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_appearance(appearance)
{
    g_current = this;
    connect(&appearance, &Appearance::darkChanged, this, &AppShell::darkChanged);
    refreshMicStatus();
    // The recorder tells on its capture thread; the notice changes on this one.
    m_services.micRecorder().setOnSilenceChanged([shell = QPointer<AppShell>(this)] {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [shell] {
            if (shell)
                shell->refreshMicNotice();
        }, Qt::QueuedConnection);
    });
}

AppShell::~AppShell()
{
    m_services.micRecorder().setOnSilenceChanged({});
    if (g_current == this)
        g_current = nullptr;
}

AppShell *AppShell::current()
{
    return g_current;
}

AppShell *AppShell::create(QQmlEngine *, QJSEngine *)
{
    QJSEngine::setObjectOwnership(g_current, QJSEngine::CppOwnership);
    return g_current;
}

OndelStore &AppShell::store() { return m_services.store(); }
Clock &AppShell::clock() { return m_services.clock(); }
Settings *AppShell::settings() { return &m_services.settings(); }
TranscriptionSession *AppShell::session() { return &m_services.session(); }
ArchiveRecovery *AppShell::recovery() { return &m_services.recovery(); }
AccountService *AppShell::account() { return &m_services.account(); }
bool AppShell::dark() const { return m_appearance.dark(); }
QString AppShell::version() const { return QCoreApplication::applicationVersion(); }

void AppShell::refreshMicStatus()
{
    // Only a refusal counts: a question not yet asked is no fault.
    const auto status = m_services.microphone().status();
    const bool missing = status == MicrophonePermission::Status::Denied || status == MicrophonePermission::Status::Restricted;
    if (missing == m_micMissing)
        return;
    m_micMissing = missing;
    Q_EMIT micMissingChanged();
}

void AppShell::refreshMicNotice()
{
    QString notice;
    switch (m_services.micRecorder().silence()) {
    case AudioRecorder::Silence::None:
        break;
    case AudioRecorder::Silence::NoDevice:
        notice = QStringLiteral("Ondel can't hear you — no microphone is connected. Plug one in and the recording picks it up.");
        break;
    case AudioRecorder::Silence::WrongKindOfDevice:
        notice = QStringLiteral("Ondel can't hear you — the sound input is a speaker monitor, not a microphone.");
        break;
    }
    if (notice == m_micNotice)
        return;
    m_micNotice = notice;
    Q_EMIT micNoticeChanged();
}

bool AppShell::openSoundSettings()
{
    // The desktops' own sound panels, then the generic PulseAudio mixer.
    const QList<QStringList> candidates{
        {QStringLiteral("gnome-control-center"), QStringLiteral("sound")},
        {QStringLiteral("systemsettings"), QStringLiteral("kcm_pulseaudio")},
        {QStringLiteral("xfce4-pulseaudio-plugin")},
        {QStringLiteral("pavucontrol")},
    };
    for (const QStringList &command : candidates) {
        const QString program = QStandardPaths::findExecutable(command.first());
        if (!program.isEmpty() && QProcess::startDetached(program, command.mid(1)))
            return true;
    }
    return false;
}

void AppShell::quit()
{
    // No stop and no flush of a recording; what is stored stays, and the next start finds the
    // meeting unfinished. Files already asked for still reach the archive; a backfill goes on
    // at the next start.
    m_services.archiver().stop(std::chrono::seconds(2));
    std::_Exit(0);
}

bool AppShell::showOnboardingIfNeeded()
{
    if (m_services.settings().onboardingCompleted())
        return false;
    showOnboarding();
    return true;
}

void AppShell::setHasTray(bool hasTray)
{
    if (hasTray == m_hasTray)
        return;
    m_hasTray = hasTray;
    Q_EMIT hasTrayChanged();
}

bool AppShell::explainsClosing()
{
    if (m_hasTray || m_closingExplained)
        return false;
    m_closingExplained = true;
    return true;
}

void AppShell::setLaunchAtLogin(bool enabled)
{
    m_services.settings().setLaunchAtLogin(enabled);
}

NotesRegenerator *AppShell::regenerator(const QUuid &meetingId)
{
    NotesRegenerator *&regenerator = m_regenerators[meetingId];
    if (!regenerator)
        regenerator = new NotesRegenerator(m_services.store(), m_services.credentials(), m_services.notes(),
                                           &m_services.archiver(), this);
    return regenerator;
}
