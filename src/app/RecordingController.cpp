#include "RecordingController.h"

#include "AppServices.h"
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
        const bool recording = m_services.session().isRecording();
        m_startedAt = recording ? m_services.clock().now() : QDateTime();
        if (recording) {
            m_elapsedTimer.start();
            m_levelTimer.start();
        } else {
            m_elapsedTimer.stop();
            m_levelTimer.stop();
            sampleLevels();
        }
        Q_EMIT elapsedChanged();
    });
    m_elapsedTimer.setInterval(1000);
    connect(&m_elapsedTimer, &QTimer::timeout, this, &RecordingController::elapsedChanged);
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

int RecordingController::elapsedSeconds() const
{
    return m_startedAt.isValid() ? int(m_startedAt.secsTo(m_services.clock().now())) : 0;
}

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
}

void RecordingController::pause()
{
    m_services.session().pauseRecording();
}

void RecordingController::resume()
{
    m_services.session().resumeRecording();
}
