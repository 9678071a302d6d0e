#include "Onboarding.h"

#include "AccountService.h"
#include "AppServices.h"
#include "AppShell.h"
#include "AudioRecorder.h"
#include "Log.h"
#include "MeetingArchiver.h"
#include "MicrophonePermission.h"
#include "Settings.h"
#include "pulse/SystemAudioRecorder.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QPointer>
#include <QThreadPool>
#include <QUrl>

namespace {
Onboarding::Dependencies shellDependencies()
{
    AppShell *shell = AppShell::current();
    Q_ASSERT(shell);
    AppServices &services = shell->services();
    SystemAudioRecorder &recorder = services.systemRecorder();
    return {services.clock(),
            services.settings(),
            services.account(),
            services.microphone(),
            recorder,
            [&recorder] { return recorder.isRunning(); },
            [](const QString &folder) {
                QDir().mkpath(folder);
                QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
            },
            services.archiver().root()};
}
} // namespace

Onboarding::Onboarding(QObject *parent)
    : Onboarding(shellDependencies(), parent)
{
}

Onboarding::Onboarding(Dependencies dependencies, QObject *parent)
    : QObject(parent)
    , m(std::move(dependencies))
    , m_wasSignedIn(m.account.isSignedIn())
{
    connect(&m.account, &AccountService::signedInChanged, this, &Onboarding::onSignedInChanged);
}

Onboarding::~Onboarding()
{
    stop();
}

void Onboarding::setStep(Step step)
{
    if (step == m_step)
        return;
    m_step = step;
    Q_EMIT stepChanged();
}

void Onboarding::advance()
{
    if (m_step != Step::Ready)
        setStep(Step(int(m_step) + 1));
}

void Onboarding::back()
{
    if (m_step != Step::Welcome)
        setStep(Step(int(m_step) - 1));
}

void Onboarding::advanceAfterBeat()
{
    m.clock.schedule(beat, this, [this] { advance(); });
}

void Onboarding::getStarted()
{
    m.settings.setOnboardingCompleted(true);
    advance();
}

void Onboarding::finish()
{
    m.settings.setOnboardingCompleted(true);
    Q_EMIT finished();
}

void Onboarding::setMic(bool granted, bool denied)
{
    if (granted == m_micGranted && denied == m_micDenied)
        return;
    m_micGranted = granted;
    m_micDenied = denied;
    Q_EMIT micChanged();
}

void Onboarding::readMicrophone(std::function<void(int)> answer)
{
    if (m_reading)
        return;
    m_reading = true;
    MicrophonePermission &permission = m.microphone;
    QThreadPool::globalInstance()->start([self = QPointer(this), &permission, answer = std::move(answer)] {
        const int status = int(permission.status());
        QMetaObject::invokeMethod(QCoreApplication::instance(), [self, answer, status] {
            if (!self)
                return;
            self->m_reading = false;
            answer(status);
        }, Qt::QueuedConnection);
    });
}

void Onboarding::start()
{
    if (m_pollTimer)
        return;
    readMicrophone([this](int status) {
        using Status = MicrophonePermission::Status;
        setMic(status == int(Status::Authorized), status == int(Status::Denied) || status == int(Status::Restricted));
    });
    scheduleTick();
    Q_EMIT pollingChanged();
}

void Onboarding::stop()
{
    if (!m_pollTimer)
        return;
    m.clock.cancel(m_pollTimer);
    m_pollTimer = 0;
    Q_EMIT pollingChanged();
}

void Onboarding::scheduleTick()
{
    m_pollTimer = m.clock.schedule(pollInterval, this, [this] {
        scheduleTick();
        readMicrophone([this](int status) {
            if (status != int(MicrophonePermission::Status::Authorized) || m_micGranted)
                return;
            setMic(true, false);
            if (m_step == Step::Microphone)
                advanceAfterBeat();
        });
    });
}

void Onboarding::allowMicrophone()
{
    MicrophonePermission &permission = m.microphone;
    const QPointer self(this);
    const auto answer = [self](bool granted) {
        if (!self)
            return;
        self->setMic(granted, !granted);
        if (granted)
            self->advanceAfterBeat();
    };
    // The request may wait on the sound server: asked off the main thread, answered on it.
    QThreadPool::globalInstance()->start([&permission, answer] { permission.requestAccess(QCoreApplication::instance(), answer); });
}

void Onboarding::allowSystemAudio()
{
    if (m.systemAudioRunning && m.systemAudioRunning()) {
        m_systemAudioDone = true;
        Q_EMIT systemAudioChanged();
        advanceAfterBeat();
        return;
    }
    // Starting is what would make a platform ask; stopped straight away.
    const std::optional<RecorderError> error = m.systemAudio.start();
    m.systemAudio.stop();
    if (error) {
        m_systemAudioFailed = true;
        Q_EMIT systemAudioChanged();
        qCInfo(lcOndel).noquote() << QStringLiteral("System-audio probe failed: %1").arg(error->description);
        return;
    }
    m_systemAudioDone = true;
    m_systemAudioFailed = false;
    Q_EMIT systemAudioChanged();
    advanceAfterBeat();
}

void Onboarding::onSignedInChanged()
{
    const bool signedIn = m.account.isSignedIn();
    const bool cameIn = signedIn && !m_wasSignedIn;
    m_wasSignedIn = signedIn;
    if (cameIn && m_step == Step::SignIn)
        advanceAfterBeat();
}

void Onboarding::useOwnKey()
{
    if (m_showByoKey)
        return;
    m_showByoKey = true;
    Q_EMIT showByoKeyChanged();
}

void Onboarding::backToSignIn()
{
    if (!m_showByoKey)
        return;
    m_showByoKey = false;
    Q_EMIT showByoKeyChanged();
}

void Onboarding::setByoKeyDraft(const QString &draft)
{
    if (draft == m_byoKeyDraft)
        return;
    m_byoKeyDraft = draft;
    Q_EMIT byoKeyDraftChanged();
}

void Onboarding::applyKey()
{
    if (!canApplyKey())
        return;
    m.account.setByoKey(m_byoKeyDraft);
    advance();
}

void Onboarding::chooseTheme(const QString &theme)
{
    m.settings.setAppTheme(theme);
}

void Onboarding::openArchiveFolder()
{
    if (m.openFolder)
        m.openFolder(m.archiveRoot);
}
