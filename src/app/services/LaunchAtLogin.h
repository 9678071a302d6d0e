#pragma once

#include "LoginItem.h"

#include <QObject>

#include <memory>

// Starts the app when the user logs in, or no longer. A failure is logged and nothing more:
// the user's switch stays as they set it.
class LaunchAtLogin : public QObject
{
    Q_OBJECT

public:
    // Without an item, the platform's own (the XDG autostart entry).
    explicit LaunchAtLogin(std::unique_ptr<LoginItem> item = nullptr, QObject *parent = nullptr);
    ~LaunchAtLogin() override;

    Q_INVOKABLE void set(bool enabled);
    Q_INVOKABLE bool isEnabled() const;

private:
    std::unique_ptr<LoginItem> m_item;
};
