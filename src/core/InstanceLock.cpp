#include "InstanceLock.h"

#include "AppIdentity.h"

#include <QDir>

InstanceLock::InstanceLock()
{
    QDir().mkpath(AppIdentity::dataDirectory());
    m_lock = std::make_unique<QLockFile>(AppIdentity::dataDirectory() + QStringLiteral("/ondel.lock"));
    m_lock->setStaleLockTime(0); // only a dead owner makes it stale, never its age
}

InstanceLock::~InstanceLock() = default;

bool InstanceLock::tryLock()
{
    return m_lock->tryLock(0);
}

qint64 InstanceLock::ownerPid() const
{
    qint64 pid = 0;
    QString host, app;
    m_lock->getLockInfo(&pid, &host, &app);
    return pid;
}

QString InstanceLock::ownerName() const
{
    qint64 pid = 0;
    QString host, app;
    m_lock->getLockInfo(&pid, &host, &app);
    return app;
}

QString InstanceLock::busyMessage() const
{
    const QString name = ownerName().isEmpty() ? QStringLiteral("Ondel") : ownerName();
    return QStringLiteral("Another Ondel process (%1, pid %2) is using the meetings; close it and try again.").arg(name).arg(ownerPid());
}
