#pragma once

#include <QString>

#include <optional>

// The system's record that starts the app when the user logs in. Each platform keeps it its own
// way (an XDG autostart entry on Linux).
class LoginItem
{
public:
    virtual ~LoginItem() = default;

    // Registers or unregisters the app. Empty on success, else the error's description.
    virtual std::optional<QString> setRegistered(bool registered) = 0;
    virtual bool isRegistered() const = 0;
};
