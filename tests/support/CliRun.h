#pragma once

#include <QProcess>
#include <QStringList>

// One run of a program as a user runs it, in the test's environment (its own HOME and XDG
// folders): its exit status and what it wrote.
struct CliRun
{
    int code = -1;
    QString out;
    QString err;

    static CliRun of(const QString &program, const QStringList &arguments, const QByteArray &input = {}, int timeoutMs = 240000)
    {
        QProcess process;
        process.start(program, arguments);
        process.write(input);
        process.closeWriteChannel();
        process.waitForFinished(timeoutMs);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
};
