#pragma once

#include <QObject>
#include <QString>

#include <functional>

// Whether the app may use the microphone. Platforms without a permission prompt report
// `Authorized` when a capture device exists.
class MicrophonePermission
{
public:
    enum class Status { NotDetermined, Restricted, Denied, Authorized };

    virtual ~MicrophonePermission() = default;
    virtual Status status() const = 0;
    // Asks the user; `answer` runs on `context`'s thread with whether access was granted.
    virtual void requestAccess(QObject *context, std::function<void(bool granted)> answer) = 0;
    // What the user is told when access is refused: where this platform turns it on.
    virtual QString deniedMessage() const
    {
        return QStringLiteral("Microphone access is off. Turn it on in Settings › Privacy › Microphone, then try again.");
    }
};
