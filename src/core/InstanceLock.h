#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

// Only one Ondel process (the desktop app or the command line) owns the store, settings and
// archive at a time. The lock lives in the data folder, so builds with different identifiers
// do not block each other. A lock left by a crashed process is taken over.
class InstanceLock
{
public:
    InstanceLock();
    ~InstanceLock();

    bool tryLock();
    // Who holds it, when tryLock() failed.
    qint64 ownerPid() const;
    QString ownerName() const;
    // One line for the user, when tryLock() failed.
    QString busyMessage() const;

private:
    std::unique_ptr<QLockFile> m_lock;
};
