#pragma once

#include <QObject>

#include <atomic>

// Where the keychain keeps the secrets, announced when it changes: a keyring that comes or goes
// moves them between the keyring and the file. Set on the keychain's thread; a listener on
// another thread hears of it through its own event loop.
class KeychainStatus : public QObject
{
    Q_OBJECT

public:
    static KeychainStatus &instance();

    bool usesFile() const { return m_usesFile; }
    void setUsesFile(bool usesFile);

Q_SIGNALS:
    void usesFileChanged(bool usesFile);

private:
    KeychainStatus() = default;

    std::atomic<bool> m_usesFile = false;
};
