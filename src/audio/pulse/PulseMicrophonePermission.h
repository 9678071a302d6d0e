#pragma once

#include "MicrophonePermission.h"

// The sound server asks no permission of its clients; access is there when an input device is.
class PulseMicrophonePermission final : public MicrophonePermission
{
public:
    Status status() const override;
    void requestAccess(QObject *context, std::function<void(bool granted)> answer) override;
    // Access is refused here only when there is no input at all.
    QString deniedMessage() const override;
};
