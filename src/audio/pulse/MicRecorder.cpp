#include "pulse/MicRecorder.h"

#include "AudioLog.h"

MicRecorder::MicRecorder()
    : m_capture(PulseCapture::Source::DefaultInput, "Microphone", [this](std::span<float> samples) {
        deliver(samples);
        m_level.update(samples); // also while paused: the meter keeps moving
    }, [this](const PulseCapture::Choice &choice) { deviceChanged(choice); })
{
}

void MicRecorder::deviceChanged(const PulseCapture::Choice &choice)
{
    using Why = PulseCapture::Choice::Why;
    switch (choice.why) {
    case Why::Found:
        qCInfo(lcAudio).noquote() << QString::asprintf("Mic switched to \"%s\" (%.0fHz, %dch)", qUtf8Printable(choice.device), choice.format.rate,
                                                       choice.format.channels);
        setSilence(Silence::None);
        break;
    case Why::DefaultIsMonitor:
        qCInfo(lcAudio).noquote() << QStringLiteral("Mic silent: the default input \"%1\" is a monitor, not a microphone").arg(choice.defaultName);
        setSilence(Silence::WrongKindOfDevice);
        break;
    case Why::NoDevice:
        qCInfo(lcAudio).noquote() << QStringLiteral("Mic silent: no input device, waiting for one");
        setSilence(Silence::NoDevice);
        break;
    }
}

MicRecorder::~MicRecorder()
{
    m_capture.stop();
}

std::optional<RecorderError> MicRecorder::start()
{
    if (m_capture.isRunning())
        return std::nullopt;
    if (const std::optional<PulseCapture::Failure> failure = m_capture.start()) {
        qCInfo(lcAudio).noquote() << QStringLiteral("Mic unavailable: %1").arg(failure->detail);
        return RecorderError{QStringLiteral("Invalid audio format")};
    }
    const PulseCapture::DeviceFormat format = m_capture.deviceFormat();
    qCInfo(lcAudio).noquote() << QString::asprintf("Mic format: %.0fHz, %dch", format.rate, format.channels);
    qCInfo(lcAudio).noquote() << QStringLiteral("Mic recording started");
    return std::nullopt;
}

void MicRecorder::stop()
{
    if (!m_capture.isRunning())
        return;
    m_capture.stop();
    m_level.reset();
    setSilence(Silence::None);
    qCInfo(lcAudio).noquote() << QStringLiteral("Mic recording stopped");
}
