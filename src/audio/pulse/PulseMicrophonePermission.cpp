#include "pulse/PulseMicrophonePermission.h"

#include "pulse/PulseCapture.h"

#include <QMetaObject>

MicrophonePermission::Status PulseMicrophonePermission::status() const
{
    return PulseCapture::hasCaptureDevice() ? Status::Authorized : Status::Denied;
}

void PulseMicrophonePermission::requestAccess(QObject *context, std::function<void(bool)> answer)
{
    const bool granted = status() == Status::Authorized;
    QMetaObject::invokeMethod(context, [answer = std::move(answer), granted] { answer(granted); }, Qt::QueuedConnection);
}

QString PulseMicrophonePermission::deniedMessage() const
{
    return QStringLiteral("No microphone found. Connect one, or choose an input in Settings › Sound, then try again.");
}
