#pragma once

#include "Clock.h"

#include <QObject>
#include <QStringList>
#include <QUrl>

#include <chrono>

class InstanceLock;
class QLocalServer;
class QLocalSocket;

// One running app per data folder. The first launch takes the data lock and listens on a local
// socket; a later one hands its arguments (the links the desktop opens with it) to the first
// and ends. The socket lives in the user's runtime folder and its name is made of the bundle
// identifier, the user and the data folder, so that the release, developer and test builds,
// and other users, never meet. Main thread only.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        First,      // holds the lock and listens
        HandedOver, // a running app took the arguments: this launch ends with success
        Busy,       // another program holds the data (ondel-cli), or an app that does not answer
    };

    // At most this many launches talk to the app at once; more are turned away.
    static constexpr int maxConnections = 8;
    // A launch says what it has at once; a connection that says nothing whole is cut off.
    static constexpr std::chrono::milliseconds idleLimit{5000};

    explicit SingleInstance(Clock &clock = Clock::system(), QObject *parent = nullptr);
    ~SingleInstance() override;

    static QString serverName();

    // Hands the arguments to a running app, else takes the lock and listens.
    Role start(InstanceLock &lock, const QStringList &arguments);
    bool isListening() const;

    // The later launch's half alone: whether a running app took the arguments.
    static bool handOver(const QStringList &arguments, std::chrono::milliseconds timeout = std::chrono::seconds(3));

Q_SIGNALS:
    // Once per later launch, with or without links.
    void activationRequested();
    // Each "ondel" link of a later launch, in order.
    void urlReceived(const QUrl &url);

private:
    void listen();
    void accept();
    void take(QLocalSocket *socket, QByteArray &received);

    Clock &m_clock;
    QLocalServer *m_server = nullptr;
};
