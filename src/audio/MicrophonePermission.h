#pragma once

#include <QObject>

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
};
