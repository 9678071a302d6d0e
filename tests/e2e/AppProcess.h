#pragma once

#include <QDeadlineTimer>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <sys/prctl.h>

constexpr int kWindowTimeoutMs = 120000; // a cold start of the QML engine on a busy machine

// The built app, started as the desktop starts it, in `environment`; it goes when the test does,
// even when the test crashes. Its "[Ondel]" lines come on standard error in the test build.
class AppProcess
{
public:
    explicit AppProcess(const QStringList &arguments = {},
                        const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
    {
        m_process.setProcessEnvironment(environment);
        m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        m_process.start(QStringLiteral(ONDEL_APP_PATH), arguments);
    }
    // The app has no quit dialog: it ends on SIGTERM, and the next start repairs what it left.
    ~AppProcess()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(10000))
            crash();
    }

    QString log()
    {
        m_log += QString::fromUtf8(m_process.readAllStandardError() + m_process.readAllStandardOutput());
        return m_log;
    }
    bool logged(const QString &line) { return log().split(QLatin1Char('\n')).contains(line); }
    // Gives up early when the app has ended.
    bool waitFor(const QString &line, int timeoutMs = kWindowTimeoutMs)
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (!logged(line) && isRunning() && !deadline.hasExpired())
            QTest::qWait(50);
        return logged(line);
    }
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    void crash()
    {
        m_process.kill();
        m_process.waitForFinished(10000);
    }

private:
    QProcess m_process;
    QString m_log;
};
