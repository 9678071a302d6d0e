#pragma once

#include <QLoggingCategory>
#include <QString>

#include <functional>

// Diagnostic lines of the whole program. Every library logs through Qt's logging with a category
// named "ondel.*"; the handler installed here turns those into "[Ondel] text" lines for the
// system log (syslog, which the journal collects) and, in a developer build, standard error.
// There are no levels: a line is a line.
Q_DECLARE_LOGGING_CATEGORY(lcOndel)

class Log
{
public:
    struct Options
    {
        bool toSystemLog = true;
        bool toStderr = false;
    };

    // Installs the message handler. Safe to call more than once; the last options win.
    static void install(const Options &options);

    // Tests and tools can watch every "[Ondel] ..." line. Called on the logging thread.
    using Observer = std::function<void(const QString &line)>;
    static void setObserver(Observer observer);

    // The first `length` characters of a transcript text, for a log line.
    static QString clip(const QString &text, qsizetype length);

    // The line as it goes out, for a message of an "ondel.*" category.
    static QString format(const QString &message);
};
