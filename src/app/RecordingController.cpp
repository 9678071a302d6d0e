#include "RecordingController.h"

#include "AppServices.h"
#include "AppState.h"
#include "pulse/MicRecorder.h"
#include "pulse/SystemAudioRecorder.h"

#include <QQmlEngine>

namespace {
RecordingController *g_instance = nullptr;
}

RecordingController::RecordingController(AppServices &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
{
    TranscriptionSession &session = services.session();
    for (auto signal : {&TranscriptionSession::isRecordingChanged, &TranscriptionSession::isPausedChanged,
                        &TranscriptionSession::errorChanged, &TranscriptionSession::systemAudioActiveChanged,
                        &TranscriptionSession::isGeneratingSummaryChanged})
        connect(&session, signal, this, &RecordingController::stateChanged);
    connect(&session, &TranscriptionSession::isRecordingChanged, this, [this] {
        if (m_services.session().isRecording()) {
            m_levelTimer.start();
        } else {
            m_levelTimer.stop();
            sampleLevels();
        }
    });
    m_levelTimer.setInterval(50);
    connect(&m_levelTimer, &QTimer::timeout, this, &RecordingController::sampleLevels);
}

void RecordingController::setInstance(RecordingController *controller)
{
    g_instance = controller;
}

RecordingController *RecordingController::create(QQmlEngine *, QJSEngine *)
{
    QJSEngine::setObjectOwnership(g_instance, QJSEngine::CppOwnership);
    return g_instance;
}

bool RecordingController::isRecording() const { return m_services.session().isRecording(); }
bool RecordingController::isPaused() const { return m_services.session().isPaused(); }
QString RecordingController::error() const { return m_services.session().error(); }
bool RecordingController::systemAudioActive() const { return m_services.session().systemAudioActive(); }
bool RecordingController::isGeneratingSummary() const { return m_services.session().isGeneratingSummary(); }

void RecordingController::sampleLevels()
{
    const double mic = m_services.micRecorder().level();
    const double system = m_services.systemRecorder().level();
    if (mic == m_micLevel && system == m_systemLevel)
        return;
    m_micLevel = mic;
    m_systemLevel = system;
    Q_EMIT levelsChanged();
}

void RecordingController::start()
{
    m_services.session().startRecording(&m_services.store());
}

void RecordingController::stop()
{
    m_services.session().stopRecording();
    m_services.appState().refreshRecentMeetings(m_services.store());
}

void RecordingController::pause()
{
    m_services.session().pauseRecording();
}

void RecordingController::resume()
{
    m_services.session().resumeRecording();
}
