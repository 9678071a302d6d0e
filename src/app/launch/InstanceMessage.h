#pragma once

#include <QByteArray>
#include <QStringList>

// What a later launch of the app tells the running one: its command-line arguments. On the
// wire: the four bytes "OND1", the payload's length as four bytes big-endian, then each
// argument in UTF-8 ended by a NUL (no command-line argument can hold one). The running app
// answers "ok" once it has taken the message.
class InstanceMessage
{
public:
    static constexpr const char *magic = "OND1";
    static constexpr qsizetype headerSize = 8;
    // Far above a command line of links, far below anything that would hurt to hold.
    static constexpr qsizetype maxPayload = 64 * 1024;
    static constexpr const char *acknowledgement = "ok";

    // Arguments that would not fit, or that hold a NUL, are left out.
    static QByteArray encode(const QStringList &arguments);

    enum class Result { Incomplete, Complete, Invalid };
    // Reads one message from the beginning of what has arrived so far; bytes after it are ignored.
    static Result decode(const QByteArray &received, QStringList *arguments);
};
