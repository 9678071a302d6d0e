#include "SingleInstance.h"

#include "AppIdentity.h"
#include "InstanceLock.h"
#include "InstanceMessage.h"
#include "LaunchUrls.h"
#include "Log.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <limits>
#include <memory>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

// An app that has just taken the lock listens a moment later.
constexpr std::chrono::milliseconds startupGrace{2000};

int milliseconds(const QDeadlineTimer &deadline)
{
    return int(std::clamp<qint64>(deadline.remainingTime(), 0, std::numeric_limits<int>::max()));
}

// Links may carry secrets: only a socket of this user's is ever told them.
bool isOwnSocket(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return false;
#ifdef Q_OS_UNIX
    return info.ownerId() == ::geteuid();
#else
    return true;
#endif
}

} // namespace

SingleInstance::SingleInstance(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
}

SingleInstance::~SingleInstance() = default; // the server removes its socket as it goes

QString SingleInstance::serverName()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    const QString user = qEnvironmentVariable("USER", qEnvironmentVariable("USERNAME"));
    const QByteArray who = QStringList{AppIdentity::bundleIdentifier(), user, AppIdentity::dataDirectory()}.join(QLatin1Char('\n')).toUtf8();
    const QByteArray hash = QCryptographicHash::hash(who, QCryptographicHash::Sha256).toHex().left(12);
    return QStringLiteral("%1/%2-%3.socket").arg(folder, AppIdentity::containerName(), QString::fromLatin1(hash));
}

SingleInstance::Role SingleInstance::start(InstanceLock &lock, const QStringList &arguments)
{
    const QDeadlineTimer grace(startupGrace);
    for (;;) {
        if (handOver(arguments)) {
            qCInfo(lcOndel).noquote() << QStringLiteral("Handed over to the running app");
            return Role::HandedOver;
        }
        if (lock.tryLock()) {
            listen();
            return Role::First;
        }
        // Another program (ondel-cli) never answers; neither does an app past its start. The
        // lock names its owner by the program's file name.
        const bool ownerIsThisProgram = lock.ownerName() == QFileInfo(QCoreApplication::applicationFilePath()).fileName();
        if (!ownerIsThisProgram || grace.hasExpired())
            return Role::Busy;
        QThread::msleep(100);
    }
}

bool SingleInstance::isListening() const
{
    return m_server && m_server->isListening();
}

bool SingleInstance::handOver(const QStringList &arguments, std::chrono::milliseconds timeout)
{
    const QString name = serverName();
    if (!isOwnSocket(name))
        return false;
    const QDeadlineTimer deadline(timeout);
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(milliseconds(deadline)))
        return false;
    socket.write(InstanceMessage::encode(arguments));
    socket.flush();
    const QByteArray expected(InstanceMessage::acknowledgement);
    QByteArray answer;
    while (answer.size() < expected.size()) {
        if (!socket.waitForReadyRead(milliseconds(deadline)))
            return false;
        answer += socket.read(expected.size() - answer.size());
    }
    return answer == expected;
}

void SingleInstance::listen()
{
    const QString name = serverName();
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    // This process holds the data lock, so no other app of this data folder is alive: a socket
    // here is what a crashed run left.
    QLocalServer::removeServer(name);
    if (!m_server->listen(name)) {
        qCInfo(lcOndel).noquote() << QStringLiteral("Later launches cannot reach this one: %1").arg(m_server->errorString());
        return;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::accept);
    qCInfo(lcOndel).noquote() << QStringLiteral("Listening for later launches");
}

void SingleInstance::accept()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        if (m_server->findChildren<QLocalSocket *>(Qt::FindDirectChildrenOnly).size() > maxConnections) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        socket->setReadBufferSize(InstanceMessage::headerSize + InstanceMessage::maxPayload);
        auto received = std::make_shared<QByteArray>();
        connect(socket, &QLocalSocket::readyRead, this, [this, socket, received] { take(socket, *received); });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        m_clock.schedule(idleLimit, socket, [socket] {
            socket->abort();
            socket->deleteLater();
        });
    }
}

void SingleInstance::take(QLocalSocket *socket, QByteArray &received)
{
    received += socket->read(InstanceMessage::headerSize + InstanceMessage::maxPayload - received.size());
    QStringList arguments;
    switch (InstanceMessage::decode(received, &arguments)) {
    case InstanceMessage::Result::Incomplete:
        return;
    case InstanceMessage::Result::Invalid:
        qCInfo(lcOndel).noquote() << QStringLiteral("Dropped a malformed message from another launch");
        disconnect(socket, nullptr, this, nullptr);
        socket->abort();
        socket->deleteLater();
        return;
    case InstanceMessage::Result::Complete:
        break;
    }
    disconnect(socket, nullptr, this, nullptr);
    socket->write(InstanceMessage::acknowledgement);
    socket->disconnectFromServer(); // after the answer is out

    const QList<QUrl> urls = LaunchUrls::among(arguments);
    qCInfo(lcOndel).noquote() << QStringLiteral("Another launch asked for the window, with %1 link(s)").arg(urls.size());
    Q_EMIT activationRequested();
    for (const QUrl &url : urls)
        Q_EMIT urlReceived(url);
}
