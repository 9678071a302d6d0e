#include "pulse/MicRecorder.h"

#include "AudioLog.h"

MicRecorder::MicRecorder()
    : m_capture(PulseCapture::Source::DefaultInput, "Microphone", [this](std::span<float> samples) {
        deliver(samples);
        m_level.update(samples); // also while paused: the meter keeps moving
    })
{
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
    qCInfo(lcAudio).noquote() << QStringLiteral("Mic recording stopped");
}
