#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

class QProcess;

// A private session bus (dbus-daemon) listening in a folder of the test's, and this process
// pointed at it through DBUS_SESSION_BUS_ADDRESS. Services are activated only from
// `serviceFolders`, and start with the daemon's own environment, so a test gives them its HOME and
// XDG folders by starting the bus with them. The daemon outlives this object on purpose: GIO ends
// a process whose session bus closes under it, so the bus ends with the test process instead.
class SessionBus
{
public:
    struct Options
    {
        QStringList serviceFolders;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    };

    SessionBus(const QString &folder, const Options &options);
    ~SessionBus();

    SessionBus(const SessionBus &) = delete;
    SessionBus &operator=(const SessionBus &) = delete;

    // Empty when the bus is up.
    QString error() const { return m_error; }
    QString address() const { return m_address; }

    // Makes a child process end with the test, even when the test crashes.
    static void dieWithTheTest();

private:
    QProcess *m_process;
    QString m_address;
    QString m_error;
    QByteArray m_oldAddress;
};
