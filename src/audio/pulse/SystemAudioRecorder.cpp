#include "pulse/SystemAudioRecorder.h"

#include "AudioLog.h"
#include "OwnSoundGate.h"

SystemAudioRecorder::SystemAudioRecorder()
    : m_capture(PulseCapture::Source::DefaultOutputMonitor, "System audio", [this](std::span<float> samples) {
        OwnSoundGate::shared().apply(samples);
        deliver(samples);
        m_level.update(samples);
    }, [this](const PulseCapture::Choice &choice) { deviceChanged(choice); })
{
}

void SystemAudioRecorder::deviceChanged(const PulseCapture::Choice &choice)
{
    if (choice.why == PulseCapture::Choice::Why::Found) {
        qCInfo(lcAudio).noquote() << QString::asprintf("System audio switched to \"%s\" (%.0fHz, %dch)", qUtf8Printable(choice.device),
                                                       choice.format.rate, choice.format.channels);
        setSilence(Silence::None);
    } else {
        qCInfo(lcAudio).noquote() << QStringLiteral("System audio silent: no output device, waiting for one");
        setSilence(Silence::NoDevice);
    }
}

SystemAudioRecorder::~SystemAudioRecorder()
{
    m_capture.stop();
}

std::optional<RecorderError> SystemAudioRecorder::start()
{
    if (m_isRunning)
        return std::nullopt;
    if (const std::optional<PulseCapture::Failure> failure = m_capture.start()) {
        using Kind = PulseCapture::Failure::Kind;
        if (failure->kind == Kind::NoDevice)
            return RecorderError{QStringLiteral("No output audio device found")};
        return RecorderError{QStringLiteral("Failed to start capture (status: %1)").arg(failure->status)};
    }
    m_isRunning = true;
    const PulseCapture::DeviceFormat format = m_capture.deviceFormat();
    // The wording of this line is fixed, target rate included.
    qCInfo(lcAudio).noquote() << QString::asprintf("System audio capture started (format: %.0fHz %dch → 16kHz mono)", format.rate,
                                                   format.channels);
    return std::nullopt;
}

void SystemAudioRecorder::stop()
{
    if (!m_isRunning)
        return;
    m_capture.stop();
    m_isRunning = false;
    m_level.reset();
    setSilence(Silence::None);
    qCInfo(lcAudio).noquote() << QStringLiteral("System audio capture stopped");
}
