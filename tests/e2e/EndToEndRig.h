#pragma once

#include "CliRun.h"
#include "SpokenAudio.h"

#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <csignal>
#include <sys/prctl.h>

// What every end-to-end test shares: ondel-cli as built with them, the local servers, speech
// from flite, and how much of a spoken sentence a recogniser got back.
inline CliRun cli(const QStringList &arguments, const QByteArray &input = {})
{
    return CliRun::of(QStringLiteral(ONDEL_CLI_PATH), arguments, input);
}

// What a --json command printed.
inline QJsonDocument cliJson(const QStringList &arguments)
{
    return QJsonDocument::fromJson(cli(arguments).out.toUtf8());
}

// A setting of ondel-cli and the app, written as a user writes it.
inline bool configure(const QString &key, const QString &value)
{
    return cli({"config", "set", key, value}).code == 0;
}

// A helper that crashes takes its children with it.
inline void dieWithTheTest()
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

inline void stopProcess(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(10000);
    }
}

// Starts one of the local servers (a python script that prints its port first, logging to
// `log`); the port, or 0 when it did not come up.
inline int startServer(QProcess &server, const QString &script, const QString &log)
{
    server.setChildProcessModifier(dieWithTheTest);
    server.start(QStringLiteral("/usr/bin/python3"), {script, log});
    if (!server.waitForStarted(10000) || !server.waitForReadyRead(30000))
        return 0;
    return server.readLine().trimmed().toInt();
}

