#pragma once

#include <QObject>
#include <QSocketNotifier>

// Turns Ctrl-C (SIGINT) and SIGTERM into a Qt signal on the main thread. A signal handler may do
// next to nothing, so it only writes a byte to a socket pair that the event loop watches.
class InterruptWatcher : public QObject
{
    Q_OBJECT

public:
    explicit InterruptWatcher(QObject *parent = nullptr);
    ~InterruptWatcher() override;

Q_SIGNALS:
    void interrupted(int count);

private:
    QSocketNotifier *m_notifier = nullptr;
    int m_count = 0;
};
