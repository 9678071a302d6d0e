#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class SessionBus;

// A Secret Service of the test's own: a private session bus (with no service activation, so
// nothing else starts on it) and gnome-keyring-daemon, unlocked with a throwaway password, its
// keyrings under the test's temporary HOME. The process is pointed at that bus through
// DBUS_SESSION_BUS_ADDRESS, so make it before anything talks to D-Bus (the clients keep their
// first connection). The keyring daemon stops when it goes; the bus stays until the process ends
// and the kernel stops it then, because GIO ends a process whose session bus closes under it.
class SecretServiceFixture
{
public:
    SecretServiceFixture();
    ~SecretServiceFixture();

    SecretServiceFixture(const SecretServiceFixture &) = delete;
    SecretServiceFixture &operator=(const SecretServiceFixture &) = delete;

    // Empty when the service is up and its default collection unlocked.
    QString error() const { return m_error; }
    QString busAddress() const { return m_address; }

    // The keyring daemon goes away; the bus stays, with nobody to answer for secrets.
    void stopKeyring();
    // The keyring daemon stops answering (it is stopped, not ended) until resumed: a keyring
    // waiting on its unlock prompt, as the bus sees it.
    void holdKeyring(bool held);

    // Points this process at a bus address where nothing listens.
    static void useUnreachableBus(const QString &folder);

private:
    bool startBus();
    bool startKeyring();
    bool waitForUnlockedCollection();

    QTemporaryDir m_dir;
    std::unique_ptr<SessionBus> m_bus;
    QProcess m_keyring;
    QString m_address;
    QString m_error;
};
