#include "Log.h"

#include <QMutex>
#include <QMutexLocker>

#include <cstdio>
#include <syslog.h>

Q_LOGGING_CATEGORY(lcOndel, "ondel")

namespace {

struct LogState
{
    QMutex mutex;
    Log::Options options;
    Log::Observer observer;
    QtMessageHandler previous = nullptr;
    bool syslogOpen = false;
};

LogState &state()
{
    static LogState s;
    return s;
}

bool isOndelCategory(const char *category)
{
    return category && qstrncmp(category, "ondel", 5) == 0 && (category[5] == '\0' || category[5] == '.');
}

void handler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    LogState &s = state();
    if (!isOndelCategory(context.category)) {
        QtMessageHandler previous;
        {
            QMutexLocker lock(&s.mutex);
            previous = s.previous;
        }
        if (previous)
            previous(type, context, message);
        return;
    }

    const QString line = Log::format(message);
    Log::Options options;
    Log::Observer observer;
    {
        QMutexLocker lock(&s.mutex);
        options = s.options;
        observer = s.observer;
    }
    const QByteArray utf8 = line.toUtf8();
    if (options.toSystemLog)
        syslog(LOG_NOTICE, "%s", utf8.constData());
    if (options.toStderr) {
        std::fprintf(stderr, "%s\n", utf8.constData());
        std::fflush(stderr);
    }
    if (observer)
        observer(line);
}

} // namespace

void Log::install(const Options &options)
{
    LogState &s = state();
    QMutexLocker lock(&s.mutex);
    s.options = options;
    if (options.toSystemLog && !s.syslogOpen) {
        openlog("ondel", LOG_PID, LOG_USER);
        s.syslogOpen = true;
    }
    // Installed again each time: a test framework may have put its own handler in between.
    if (const QtMessageHandler previous = qInstallMessageHandler(handler); previous != handler)
        s.previous = previous;
}

void Log::setObserver(Observer observer)
{
    LogState &s = state();
    QMutexLocker lock(&s.mutex);
    s.observer = std::move(observer);
}

QString Log::clip(const QString &text, qsizetype length)
{
    if (text.size() <= length)
        return text;
    // Never cut a surrogate pair in half.
    if (length > 0 && text.at(length - 1).isHighSurrogate())
        --length;
    return text.left(length);
}

QString Log::format(const QString &message)
{
    return QStringLiteral("[Ondel] ") + message;
}
