#pragma once

#include <QString>

// Why a chat answer stopped. readableText() is what the chat panel shows.
struct ChatError
{
    enum class Kind {
        Status, // the server answered with a status other than 200
        BadResponse, // the answer was not HTTP
        Transport, // no connection, a broken one, or the like
        TimedOut,
    };

    Kind kind = Kind::BadResponse;
    int status = 0;
    QString message; // Transport: the underlying error

    static ChatError ofStatus(int status) { return {Kind::Status, status, {}}; }
    static ChatError of(Kind kind, const QString &message = {}) { return {kind, 0, message}; }

    QString readableText() const;

    bool operator==(const ChatError &) const = default;
};
