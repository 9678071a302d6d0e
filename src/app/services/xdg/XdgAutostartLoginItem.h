#pragma once

#include "LoginItem.h"

// The login item of the XDG autostart rule, which GNOME, KDE and the other desktops follow:
// a desktop entry named after the bundle identifier in $XDG_CONFIG_HOME/autostart.
// Unregistering removes the entry rather than hiding it, so that nothing of ours is left behind.
class XdgAutostartLoginItem final : public LoginItem
{
public:
    // Empty arguments: the user's autostart folder, and this process's executable.
    explicit XdgAutostartLoginItem(const QString &autostartFolder = {}, const QString &executable = {});

    std::optional<QString> setRegistered(bool registered) override;
    bool isRegistered() const override;

    QString entryPath() const;
    // The entry's text for an executable (quoted as the Exec key requires).
    static QByteArray desktopEntry(const QString &name, const QString &executable);
    // $XDG_CONFIG_HOME (else ~/.config) followed by "/autostart".
    static QString defaultFolder();

private:
    QString m_folder;
    QString m_executable;
};
